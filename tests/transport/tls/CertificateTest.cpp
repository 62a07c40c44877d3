#include "tls/Certificate.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>

#include "cert/Authority.h"
#include "tls/PemFile.h"
#include "transport/tls/support/Certificates.h"

namespace HOQ::tls {
namespace {

using test::Certificates;
using test::days;

X509Ptr make(Certificates& authority, const std::vector<std::string>& names) {
  auto read = readCertificates(authority.issue("one", {names}).certificate);
  if (!read) throw std::runtime_error(read.error().text);
  return std::move(read->front());
}

TEST(Certificate, ItsNamesAreTakenFromTheAlternativeNames) {
  Certificates authority;
  const X509Ptr made =
      make(authority, {"Node.Example", "192.0.2.1", "2001:db8::1", "spiffe://realm/Node", "other"});
  const Peer peer = describe(made.get());
  EXPECT_EQ(peer.dnsNames, (std::vector<std::string>{"node.example", "other"}));
  EXPECT_EQ(peer.ipNames, (std::vector<std::string>{"192.0.2.1", "2001:db8::1"}));
  EXPECT_EQ(peer.uriNames, (std::vector<std::string>{"spiffe://realm/Node"}));
  EXPECT_EQ(peer.fingerprint.size(), 64u);
  EXPECT_FALSE(peer.serial.empty());
  EXPECT_GT(peer.notAfter, days(29, 0).notBefore);
  EXPECT_TRUE(peer.hasName("NODE.example"));
  EXPECT_TRUE(peer.hasName("spiffe://realm/Node"));
  EXPECT_FALSE(peer.hasName("spiffe://realm/node"));
  EXPECT_FALSE(peer.hasName("192.0.2.1"));
  EXPECT_FALSE(peer.hasName(""));
}

struct NameRow {
  const char* certified;
  const char* wanted;
  bool bears;
};

TEST(Certificate, BearsItsNamesAndNoOthers) {
  constexpr NameRow kRows[] = {
      {"node", "node", true},
      {"node", "NODE", true},
      {"node", "node2", false},
      {"node", "", false},
      {"node", "*", false},
      {"node.example", "example", false},
      {"*.nodes.example", "a.nodes.example", true},
      {"*.nodes.example", "a.b.nodes.example", false},
      {"*.nodes.example", "nodes.example", false},
      {"192.0.2.1", "192.0.2.1", true},
      {"192.0.2.1", "192.0.2.2", false},
      {"2001:db8::1", "2001:db8:0::1", true},
      {"::1", "::1%lo", true},
      {"node", "192.0.2.1", false},
      {"spiffe://a/b", "spiffe://a/b", true},
      {"spiffe://a/b", "spiffe://a/c", false},
      {"spiffe://a/b", "a", false},
  };
  Certificates authority;
  int number = 0;
  for (const NameRow& row : kRows) {
    SCOPED_TRACE(std::string(row.certified) + " as " + row.wanted);
    auto read = readCertificates(
        authority.issue("c" + std::to_string(++number), {{row.certified}}).certificate);
    ASSERT_TRUE(read);
    EXPECT_EQ(bears(read->front().get(), row.wanted), row.bears);
  }
}

TEST(Certificate, TheCommonNameIsNoName) {
  // The first name is the common name as well; take the alternative names away.
  Certificates authority;
  const X509Ptr made = make(authority, {"node"});
  X509_EXTENSION_free(
      X509_delete_ext(made.get(), X509_get_ext_by_NID(made.get(), NID_subject_alt_name, -1)));
  EXPECT_FALSE(bears(made.get(), "node"));
  EXPECT_EQ(namesOf(made.get()), "nobody");
}

TEST(Certificate, ANameWithAZeroByteOrABlankIsNoName) {
  for (const std::string& odd :
       {std::string("admin\0.evil", 11), std::string("a b"), std::string("admin\n")}) {
    Certificates authority;
    const X509Ptr made = make(authority, {"node"});
    X509_EXTENSION_free(
        X509_delete_ext(made.get(), X509_get_ext_by_NID(made.get(), NID_subject_alt_name, -1)));
    const GeneralNamesPtr names(GENERAL_NAMES_new());
    GENERAL_NAME* name = GENERAL_NAME_new();
    ASN1_IA5STRING* text = ASN1_IA5STRING_new();
    ASN1_STRING_set(text, odd.data(), static_cast<int>(odd.size()));
    GENERAL_NAME_set0_value(name, GEN_DNS, text);
    sk_GENERAL_NAME_push(names.get(), name);
    X509_add1_ext_i2d(made.get(), NID_subject_alt_name, names.get(), 0, X509V3_ADD_DEFAULT);
    EXPECT_TRUE(describe(made.get()).dnsNames.empty());
    EXPECT_FALSE(bears(made.get(), "admin"));
  }
}

}  // namespace
}  // namespace HOQ::tls
