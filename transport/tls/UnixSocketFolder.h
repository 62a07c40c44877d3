#pragma once

#include <optional>
#include <string>

#include "tls/Result.h"

namespace HOQ::tls {

/// Checks that nobody but us and root can put something else in the place of `socketPath`: its
/// folder and those above belong to us or root, and group and others may not write there (above the
/// folder: unless it is sticky). kUsage, the folder named; nothing where all is well.
std::optional<Error> checkUnixSocketFolder(const std::string& socketPath);

}  // namespace HOQ::tls
