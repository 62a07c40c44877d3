#include "front/Identity.h"

#include <gtest/gtest.h>

namespace HOQ::agent {
namespace {

Identity certificate(std::vector<std::string> dns, std::vector<std::string> uris = {}) {
  Identity identity;
  identity.certificate.dnsNames = std::move(dns);
  identity.certificate.uriNames = std::move(uris);
  identity.certificate.fingerprint = std::string(64, 'f');
  return identity;
}

Identity user(uid_t uid) {
  Identity identity;
  identity.uid = uid;
  return identity;
}

const std::vector<ClientEntry> kEntries = {
    {"backup.example.org", true, false, ""},
    {"uid:1000", true, true, ""},
    {"admin", true, true, ""},
    {"admin", false, false, ""},
    {"spiffe://hoq/node", true, true, ""},
};

TEST(IdentityTest, TheFirstEntryThatMatchesCounts) {
  const struct {
    const char* name;
    Identity identity;
    int entry;  // -1: none
  } cases[] = {
      {"a DNS name", certificate({"admin"}), 2},
      {"a DNS name of several", certificate({"x", "admin"}), 2},
      {"two names: the entries' order decides", certificate({"admin", "backup.example.org"}), 0},
      {"a URI", certificate({}, {"spiffe://hoq/node"}), 4},
      {"a URI of another case", certificate({}, {"spiffe://HOQ/node"}), -1},
      {"a name that nobody has", certificate({"root"}), -1},
      {"a part of a name", certificate({"example.org"}), -1},
      {"a pattern", certificate({"*.example.org"}), -1},
      {"no name", certificate({}), -1},
      {"a user", user(1000), 1},
      {"another user", user(1001), -1},
      {"a certificate that says it were a user", certificate({"uid:1000"}, {"uid:1000"}), -1},
  };
  for (const auto& each : cases) {
    const ClientEntry* expected = each.entry < 0 ? nullptr : &kEntries[std::size_t(each.entry)];
    EXPECT_EQ(entryOf(kEntries, each.identity), expected) << each.name;
  }
}

TEST(IdentityTest, AUserIsNoBearerOfNames) {
  const std::vector<ClientEntry> entries = {{"", true, true, ""}, {"1000", true, true, ""}};
  EXPECT_EQ(entryOf(entries, user(1000)), nullptr);
}

TEST(IdentityTest, LogsHaveANameForEverybody) {
  EXPECT_EQ(user(7).text(), "uid:7");
  EXPECT_EQ(certificate({"a", "b"}, {"u:r"}).text(), "a");
  EXPECT_EQ(certificate({}, {"u:r"}).text(), "u:r");
  EXPECT_EQ(certificate({}).text(), "certificate ffffffffffffffff");
}

}  // namespace
}  // namespace HOQ::agent
