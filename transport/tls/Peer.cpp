#include "tls/Peer.h"

#include <strings.h>

#include <algorithm>

namespace HOQ::tls {

bool Peer::hasName(const std::string& name) const {
  const auto same = [&name](const std::string& own) {
    return own.size() == name.size() && ::strcasecmp(own.c_str(), name.c_str()) == 0;
  };
  return std::any_of(dnsNames.begin(), dnsNames.end(), same) ||
         std::find(uriNames.begin(), uriNames.end(), name) != uriNames.end();
}

}  // namespace HOQ::tls
