#include "tls/Certificate.h"

#include <arpa/inet.h>
#include <openssl/bn.h>

#include <algorithm>
#include <ctime>

namespace HOQ::tls {
namespace {

std::string hex(const unsigned char* bytes, std::size_t count) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

std::string serialOf(const X509* certificate) {
  BIGNUM* number = ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr);
  char* digits = number == nullptr ? nullptr : BN_bn2hex(number);
  std::string text = digits == nullptr ? "" : digits;
  OPENSSL_free(digits);
  BN_free(number);
  return text;
}

std::int64_t notAfterOf(const X509* certificate) {
  std::tm parts{};
  if (ASN1_TIME_to_tm(X509_get0_notAfter(certificate), &parts) != 1) return 0;
  return ::timegm(&parts);
}

/// The text of a name; empty where it is none that can be shown and compared.
std::string textOf(const ASN1_IA5STRING* name) {
  const auto* bytes = reinterpret_cast<const char*>(ASN1_STRING_get0_data(name));
  const std::string text(bytes, static_cast<std::size_t>(ASN1_STRING_length(name)));
  const auto odd = [](char c) { return static_cast<unsigned char>(c) <= 0x20 || c == 0x7f; };
  return std::any_of(text.begin(), text.end(), odd) ? "" : text;
}

std::string ipOf(const ASN1_OCTET_STRING* name) {
  char text[INET6_ADDRSTRLEN] = "";
  const int length = ASN1_STRING_length(name);
  const int family = length == 4 ? AF_INET : length == 16 ? AF_INET6 : AF_UNSPEC;
  if (family != AF_UNSPEC) ::inet_ntop(family, ASN1_STRING_get0_data(name), text, sizeof text);
  return text;
}

void append(std::vector<std::string>& names, std::string name) {
  if (!name.empty()) names.push_back(std::move(name));
}

void appendName(Peer& peer, const GENERAL_NAME* name) {
  if (name->type == GEN_DNS) {
    std::string text = textOf(name->d.dNSName);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    append(peer.dnsNames, std::move(text));
  } else if (name->type == GEN_URI) {
    append(peer.uriNames, textOf(name->d.uniformResourceIdentifier));
  } else if (name->type == GEN_IPADD) {
    append(peer.ipNames, ipOf(name->d.iPAddress));
  }
}

/// The address as a certificate writes it, without what names an interface.
bool isIp(const std::string& text) {
  unsigned char bytes[sizeof(in6_addr)];
  return ::inet_pton(AF_INET, text.c_str(), bytes) == 1 ||
         ::inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}

}  // namespace

std::string fingerprintOf(const X509* certificate) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (X509_digest(certificate, EVP_sha256(), digest, &length) != 1) return "";
  return hex(digest, length);
}

Peer describe(const X509* certificate) {
  Peer peer;
  const GeneralNamesPtr names(static_cast<GENERAL_NAMES*>(
      X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
  for (int i = 0; names != nullptr && i < sk_GENERAL_NAME_num(names.get()); ++i)
    appendName(peer, sk_GENERAL_NAME_value(names.get(), i));
  peer.fingerprint = fingerprintOf(certificate);
  peer.serial = serialOf(certificate);
  peer.notAfter = notAfterOf(certificate);
  return peer;
}

bool bears(X509* certificate, const std::string& name) {
  const std::string ip = name.substr(0, name.find('%'));
  if (isIp(ip)) return X509_check_ip_asc(certificate, ip.c_str(), 0) == 1;
  if (name.find("://") != name.npos) {
    const auto uris = describe(certificate).uriNames;
    return std::find(uris.begin(), uris.end(), name) != uris.end();
  }
  constexpr unsigned int kFlags =
      X509_CHECK_FLAG_NEVER_CHECK_SUBJECT | X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS;
  return !name.empty() &&
         X509_check_host(certificate, name.c_str(), name.size(), kFlags, nullptr) == 1;
}

std::string namesOf(const X509* certificate) {
  const Peer peer = describe(certificate);
  std::string all;
  for (const auto* names : {&peer.dnsNames, &peer.uriNames, &peer.ipNames})
    for (const std::string& name : *names) all += (all.empty() ? "" : ", ") + name;
  return all.empty() ? "nobody" : all;
}

}  // namespace HOQ::tls
