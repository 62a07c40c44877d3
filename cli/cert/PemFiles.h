#pragma once

#include <optional>
#include <string>

#include "cert/Authority.h"
#include "tls/Result.h"

namespace HOQ::cert {

/// Where a pair lies: DIR/NAME.pem and DIR/NAME.key.
std::string certificateFile(const std::string& directory, const std::string& name);
std::string keyFile(const std::string& directory, const std::string& name);

/// Writes both files of a pair, the key's with mode 0600; `directory` is made where it is missing.
/// Files that are there are never touched: kUsage. Either both names are there afterwards or
/// neither is: each file is complete before it gets its name, and signals wait meanwhile.
std::optional<tls::Error> writePair(const std::string& directory, const std::string& name,
                                    const PemPair& pair);

/// The authority in `directory`: ca.pem and ca.key. kUsage, naming the file and what is wrong.
tls::Result<Authority> readAuthority(const std::string& directory);

}  // namespace HOQ::cert
