#pragma once

#include <string>
#include <string_view>
#include <unordered_set>

#include "tls/Result.h"

namespace HOQ::tls {

/// Fingerprints, 64 lower-case hex digits each.
using RevokedList = std::unordered_set<std::string>;

/// Reads one SHA-256 fingerprint a line, in either case, colons or not; '#' starts a comment, blank
/// lines are fine, and so is what `openssl x509 -fingerprint -sha256` prints before its '='.
/// kUsage: `file` (for the message only) and the number of a line that is none of that: a list that
/// is understood in part would let somebody in.
Result<RevokedList> parseRevokedList(const std::string& file, std::string_view text);

}  // namespace HOQ::tls
