#include "cert/Authority.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>

#include <ctime>
#include <set>

namespace HOQ::cert {
namespace {

constexpr std::int64_t kDay = 24 * 60 * 60;

Validity days(std::int64_t count) {
  const std::int64_t now = std::time(nullptr);
  return {now, now + count * kDay};
}

tls::X509Ptr parse(const std::string& pem) {
  const tls::BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  return tls::X509Ptr(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
}

std::string serialOf(const X509* certificate) {
  const ASN1_INTEGER* number = X509_get0_serialNumber(certificate);
  return std::string(reinterpret_cast<const char*>(ASN1_STRING_get0_data(number)),
                     static_cast<std::size_t>(ASN1_STRING_length(number)));
}

bool isCritical(const X509* certificate, int nid) {
  const int index = X509_get_ext_by_NID(certificate, nid, -1);
  return index >= 0 && X509_EXTENSION_get_critical(X509_get_ext(certificate, index)) == 1;
}

Wanted wanted(const std::string& name) {
  Wanted one;
  one.names.push_back(*AlternativeName::parse(name));
  one.validity = days(1);
  return one;
}

class AuthorityTest : public testing::Test {
 protected:
  Authority authority = *Authority::make(days(10));
};

TEST_F(AuthorityTest, ItsOwnCertificateIsOneOfAnAuthorityAndOfNothingElse) {
  const auto made = parse(authority.pair()->certificate);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(X509_check_ca(made.get()), 1);
  EXPECT_TRUE(isCritical(made.get(), NID_basic_constraints));
  EXPECT_TRUE(isCritical(made.get(), NID_key_usage));
  EXPECT_EQ(X509_get_key_usage(made.get()), std::uint32_t{KU_KEY_CERT_SIGN | KU_CRL_SIGN});
  EXPECT_EQ(X509_get_pathlen(made.get()), 0);
  EXPECT_EQ(EVP_PKEY_get_id(X509_get0_pubkey(made.get())), EVP_PKEY_EC);
  EXPECT_EQ(EVP_PKEY_get_bits(X509_get0_pubkey(made.get())), 256);
  EXPECT_EQ(X509_verify(made.get(), X509_get0_pubkey(made.get())), 1);
}

TEST_F(AuthorityTest, AnIssuedCertificateIsForServersAndClientsAndIssuesNothing) {
  const auto made = parse(authority.issue(wanted("node"))->certificate);
  const auto own = parse(authority.pair()->certificate);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(X509_get_version(made.get()), X509_VERSION_3);
  EXPECT_EQ(X509_check_ca(made.get()), 0);
  EXPECT_TRUE(isCritical(made.get(), NID_basic_constraints));
  EXPECT_TRUE(isCritical(made.get(), NID_key_usage));
  EXPECT_EQ(X509_get_key_usage(made.get()), std::uint32_t{KU_DIGITAL_SIGNATURE});
  EXPECT_EQ(X509_get_extended_key_usage(made.get()),
            std::uint32_t{XKU_SSL_SERVER | XKU_SSL_CLIENT});
  EXPECT_EQ(X509_check_issued(own.get(), made.get()), X509_V_OK);
  EXPECT_EQ(X509_verify(made.get(), X509_get0_pubkey(own.get())), 1);
  EXPECT_EQ(EVP_PKEY_get_bits(X509_get0_pubkey(made.get())), 256);
}

TEST_F(AuthorityTest, SerialNumbersAreLongPositiveAndNeverTheSame) {
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    const auto made = parse(authority.issue(wanted("node"))->certificate);
    EXPECT_EQ(X509_get0_serialNumber(made.get())->type, V_ASN1_INTEGER) << "not negative";
    const std::string serial = serialOf(made.get());
    EXPECT_EQ(serial.size(), 20u);
    EXPECT_TRUE(seen.insert(serial).second);
  }
}

TEST_F(AuthorityTest, EveryNameStandsInItAndALongOneIsNoCommonName) {
  Wanted all = wanted(std::string(60, 'a') + ".example.of.a.long.name");
  for (const char* name : {"192.0.2.1", "2001:db8::1", "hoq://node"})
    all.names.push_back(*AlternativeName::parse(name));
  const auto made = parse(authority.issue(all)->certificate);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(X509_NAME_entry_count(X509_get_subject_name(made.get())), 0);
  EXPECT_TRUE(isCritical(made.get(), NID_subject_alt_name));
  EXPECT_EQ(X509_check_host(made.get(), all.names.front().text.c_str(), 0, 0, nullptr), 1);
  EXPECT_EQ(X509_check_ip_asc(made.get(), "192.0.2.1", 0), 1);
  EXPECT_EQ(X509_check_ip_asc(made.get(), "2001:db8::1", 0), 1);
}

TEST_F(AuthorityTest, ACertificateWithoutANameIsNotMade) {
  Wanted none = wanted("node");
  none.names.clear();
  EXPECT_FALSE(authority.issue(none));
}

TEST_F(AuthorityTest, ItsTimesAreThoseThatWereAskedFor) {
  Wanted one = wanted("node");
  one.validity = {1000000000, 4102444800};  // into 2100, where X.509 writes years otherwise
  const auto pair = authority.issue(one);
  EXPECT_EQ(pair->notAfter, one.validity.notAfter);
  const auto made = parse(pair->certificate);
  EXPECT_LT(X509_cmp_current_time(X509_get0_notBefore(made.get())), 0);
  EXPECT_GT(X509_cmp_current_time(X509_get0_notAfter(made.get())), 0);
}

TEST_F(AuthorityTest, IsTheSameAfterItWasReadAgain) {
  const auto pair = authority.pair();
  const auto again = Authority::load(pair->certificate, "ca.pem", pair->key, "ca.key");
  ASSERT_TRUE(again) << again.error().text;
  EXPECT_EQ(again->pair()->certificate, pair->certificate);
  EXPECT_EQ(again->validity().notAfter, authority.validity().notAfter);
  EXPECT_TRUE(again->issue(wanted("node")));
}

TEST_F(AuthorityTest, WhatIsNoAuthorityIsRefusedAndNamed) {
  const auto pair = authority.pair();
  const auto leaf = authority.issue(wanted("node"));
  const auto other = Authority::make(days(1))->pair();
  const auto load = [](const std::string& certificate, const std::string& key) {
    return Authority::load(certificate, "ca.pem", key, "ca.key").error().text;
  };
  EXPECT_EQ(load("", pair->key), "ca.pem: holds no certificate in PEM form");
  EXPECT_EQ(load(pair->certificate, "x"), "ca.key: holds no private key in PEM form");
  EXPECT_EQ(load(leaf->certificate, leaf->key), "ca.pem: is the certificate of no authority");
  EXPECT_EQ(load(pair->certificate, other->key),
            "ca.key: is not the key of the authority's certificate");
}

}  // namespace
}  // namespace HOQ::cert
