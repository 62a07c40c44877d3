#include "front/Identity.h"

#include "config/ClientName.h"

namespace HOQ::agent {
namespace {

bool names(const ClientEntry& entry, const Identity& identity) {
  if (identity.uid) return uidOfName(entry.name) == identity.uid;
  return !isUidName(entry.name) && identity.certificate.hasName(entry.name);
}

}  // namespace

std::string Identity::text() const {
  if (uid) return "uid:" + std::to_string(*uid);
  if (!certificate.dnsNames.empty()) return certificate.dnsNames.front();
  if (!certificate.uriNames.empty()) return certificate.uriNames.front();
  return "certificate " + certificate.fingerprint.substr(0, 16);
}

const ClientEntry* entryOf(const std::vector<ClientEntry>& entries, const Identity& identity) {
  for (const ClientEntry& entry : entries) {
    if (names(entry, identity)) return &entry;
  }
  return nullptr;
}

}  // namespace HOQ::agent
