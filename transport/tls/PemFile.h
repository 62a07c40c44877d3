#pragma once

#include <string>
#include <vector>

#include "tls/OpenSslHandles.h"
#include "tls/Result.h"

namespace HOQ::tls {

// Each failure is kUsage and names the file.

/// Every certificate in the file, in its order; at least one.
Result<std::vector<X509Ptr>> readCertificates(const std::string& file);

/// The private key in the file, which must be kept from others (see TlsContext::load).
Result<KeyPtr> readKey(const std::string& file);

/// The file's text, at most `limit` bytes of it.
Result<std::string> readText(const std::string& file, std::size_t limit);

}  // namespace HOQ::tls
