#pragma once

#include <string>

#include "tls/Result.h"

namespace HOQ::cert {

/// A name that a certificate is for.
struct AlternativeName {
  enum class Kind { kDns, kIp, kUri };

  /// An IP address ("192.0.2.1", "::1"), a URI (with "://"), or a DNS name: labels of letters,
  /// digits, "-" and "_", the first of which may be "*". kUsage, naming the text, for all else.
  static tls::Result<AlternativeName> parse(const std::string& text);

  Kind kind = Kind::kDns;
  std::string text;
};

}  // namespace HOQ::cert
