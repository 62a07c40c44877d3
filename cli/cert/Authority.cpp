#include "cert/Authority.h"

#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rand.h>

#include <array>
#include <ctime>

namespace HOQ::cert {
namespace {

using tls::Error;
using tls::ErrorKind;
using tls::KeyPtr;
using tls::openSslReason;
using tls::Result;
using tls::X509Ptr;

constexpr int kRsaBits = 2048;
constexpr int kSerialBits = 159;                // 20 bytes at most, and positive
constexpr std::size_t kLongestCommonName = 64;  // X.520

using NumberPtr = std::unique_ptr<BIGNUM, tls::OpenSslFree<BN_free>>;
using ExtensionPtr = std::unique_ptr<X509_EXTENSION, tls::OpenSslFree<X509_EXTENSION_free>>;

Error cannot(const char* what) {
  return {ErrorKind::kSystem, std::string("cannot ") + what + ": " + openSslReason()};
}

KeyPtr makeKey(KeyKind kind) {
  return KeyPtr(kind == KeyKind::kP256 ? EVP_EC_gen("P-256")
                                       : EVP_RSA_gen(static_cast<unsigned int>(kRsaBits)));
}

bool setSerial(X509* certificate) {
  const NumberPtr number(BN_new());
  return number != nullptr &&
         BN_rand(number.get(), kSerialBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
         BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr;
}

bool setValidity(X509* certificate, const Validity& validity) {
  // ASN1_TIME_set() takes the form that X.509 wants for the year.
  return ASN1_TIME_set(X509_getm_notBefore(certificate), validity.notBefore) != nullptr &&
         ASN1_TIME_set(X509_getm_notAfter(certificate), validity.notAfter) != nullptr;
}

bool setCommonName(X509* certificate, const std::string& name) {
  return X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8,
                                    reinterpret_cast<const unsigned char*>(name.data()),
                                    static_cast<int>(name.size()), -1, 0) == 1;
}

/// `value` as openssl's configuration has it, made of nothing that a user typed.
bool addExtension(X509* certificate, X509* issuer, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
  return extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1;
}

GENERAL_NAME* generalName(const AlternativeName& name) {
  using Kind = AlternativeName::Kind;
  GENERAL_NAME* made = GENERAL_NAME_new();
  if (made == nullptr) return nullptr;
  if (name.kind == Kind::kIp) {
    if (ASN1_OCTET_STRING* bytes = a2i_IPADDRESS(name.text.c_str()))
      GENERAL_NAME_set0_value(made, GEN_IPADD, bytes);
  } else if (ASN1_IA5STRING* text = ASN1_IA5STRING_new()) {
    ASN1_STRING_set(text, name.text.data(), static_cast<int>(name.text.size()));
    GENERAL_NAME_set0_value(made, name.kind == Kind::kUri ? GEN_URI : GEN_DNS, text);
  }
  return made;
}

bool addNames(X509* certificate, const std::vector<AlternativeName>& names, bool isCritical) {
  const tls::GeneralNamesPtr all(GENERAL_NAMES_new());
  for (const AlternativeName& name : names) {
    GENERAL_NAME* made = all == nullptr ? nullptr : generalName(name);
    if (made == nullptr || sk_GENERAL_NAME_push(all.get(), made) == 0) return false;
  }
  return X509_add1_ext_i2d(certificate, NID_subject_alt_name, all.get(), isCritical ? 1 : 0,
                           X509V3_ADD_DEFAULT) == 1;
}

/// What every certificate begins with: version 3, a serial, when, and whose key.
X509Ptr begin(const Validity& validity, EVP_PKEY* key) {
  X509Ptr certificate(X509_new());
  if (certificate == nullptr || X509_set_version(certificate.get(), X509_VERSION_3) != 1 ||
      !setSerial(certificate.get()) || !setValidity(certificate.get(), validity) ||
      X509_set_pubkey(certificate.get(), key) != 1)
    return nullptr;
  return certificate;
}

std::string textOf(BIO* bio) {
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(bio, &bytes);
  return std::string(bytes, static_cast<std::size_t>(length));
}

std::int64_t secondsOf(const ASN1_TIME* time) {
  std::tm parts{};
  return ASN1_TIME_to_tm(time, &parts) == 1 ? ::timegm(&parts) : 0;
}

std::string fingerprintOf(const X509* certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned int length = 0;
  if (X509_digest(certificate, EVP_sha256(), digest.data(), &length) != 1) return "";
  std::string text;
  for (unsigned int i = 0; i < length; ++i) {
    text += "0123456789abcdef"[digest[i] >> 4];
    text += "0123456789abcdef"[digest[i] & 15];
  }
  return text;
}

Result<PemPair> pemOf(X509* certificate, EVP_PKEY* key) {
  const tls::BioPtr certificateText(BIO_new(BIO_s_mem()));
  const tls::BioPtr keyText(BIO_new(BIO_s_secmem()));
  if (certificateText == nullptr || keyText == nullptr ||
      PEM_write_bio_X509(certificateText.get(), certificate) != 1 ||
      PEM_write_bio_PKCS8PrivateKey(keyText.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1)
    return cannot("write PEM");
  return PemPair{textOf(certificateText.get()), textOf(keyText.get()), fingerprintOf(certificate),
                 secondsOf(X509_get0_notAfter(certificate))};
}

tls::BioPtr bioOf(const std::string& text) {
  return tls::BioPtr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

int noPassPhrase(char*, int, int, void*) { return -1; }

Error refuse(const std::string& file, const char* why) {
  return {ErrorKind::kUsage, file + ": " + why};
}

std::string distinctName() {
  std::array<unsigned char, 4> bytes{};
  std::string name = "hoq authority ";
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) return "";
  for (const unsigned char byte : bytes) {
    name += "0123456789abcdef"[byte >> 4];
    name += "0123456789abcdef"[byte & 15];
  }
  return name;
}

const char* purposes(const Wanted& wanted) {
  if (wanted.forServers) return wanted.forClients ? "serverAuth,clientAuth" : "serverAuth";
  return "clientAuth";
}

}  // namespace

Result<Authority> Authority::make(const Validity& validity, KeyKind kind) {
  ERR_clear_error();
  KeyPtr key = makeKey(kind);
  if (key == nullptr) return cannot("make a key");
  X509Ptr certificate = begin(validity, key.get());
  X509* raw = certificate.get();
  const std::string name = distinctName();
  if (raw == nullptr || name.empty() || !setCommonName(raw, name) ||
      X509_set_issuer_name(raw, X509_get_subject_name(raw)) != 1 ||
      !addExtension(raw, raw, NID_basic_constraints, "critical,CA:TRUE,pathlen:0") ||
      !addExtension(raw, raw, NID_key_usage, "critical,keyCertSign,cRLSign") ||
      !addExtension(raw, raw, NID_subject_key_identifier, "hash") ||
      X509_sign(raw, key.get(), EVP_sha256()) == 0)
    return cannot("make an authority");
  return Authority(std::move(certificate), std::move(key));
}

Result<Authority> Authority::load(const std::string& certificate,
                                  const std::string& certificateFile, const std::string& key,
                                  const std::string& keyFile) {
  X509Ptr read(PEM_read_bio_X509(bioOf(certificate).get(), nullptr, noPassPhrase, nullptr));
  if (read == nullptr) return refuse(certificateFile, "holds no certificate in PEM form");
  KeyPtr readKey(PEM_read_bio_PrivateKey(bioOf(key).get(), nullptr, noPassPhrase, nullptr));
  if (readKey == nullptr) return refuse(keyFile, "holds no private key in PEM form");
  if (X509_check_ca(read.get()) != 1)
    return refuse(certificateFile, "is the certificate of no authority");
  if (X509_check_private_key(read.get(), readKey.get()) != 1)
    return refuse(keyFile, "is not the key of the authority's certificate");
  ERR_clear_error();
  return Authority(std::move(read), std::move(readKey));
}

Result<PemPair> Authority::pair() const { return pemOf(certificate_.get(), key_.get()); }

Validity Authority::validity() const {
  return {secondsOf(X509_get0_notBefore(certificate_.get())),
          secondsOf(X509_get0_notAfter(certificate_.get()))};
}

Result<PemPair> Authority::issue(const Wanted& wanted) const {
  if (wanted.names.empty()) return Error{ErrorKind::kUsage, "a certificate needs a name"};
  ERR_clear_error();
  const KeyPtr key = makeKey(wanted.key);
  if (key == nullptr) return cannot("make a key");
  const X509Ptr certificate = begin(wanted.validity, key.get());
  X509* raw = certificate.get();
  X509* issuer = certificate_.get();
  const std::string& name = wanted.names.front().text;
  const bool hasCommonName = name.size() <= kLongestCommonName;
  // Without a subject the alternative names must be critical.
  if (raw == nullptr || (hasCommonName && !setCommonName(raw, name)) ||
      X509_set_issuer_name(raw, X509_get_subject_name(issuer)) != 1 ||
      !addExtension(raw, issuer, NID_basic_constraints, "critical,CA:FALSE") ||
      !addExtension(raw, issuer, NID_key_usage, "critical,digitalSignature") ||
      !addExtension(raw, issuer, NID_ext_key_usage, purposes(wanted)) ||
      !addNames(raw, wanted.names, !hasCommonName) ||
      !addExtension(raw, issuer, NID_subject_key_identifier, "hash") ||
      !addExtension(raw, issuer, NID_authority_key_identifier, "keyid:always") ||
      X509_sign(raw, key_.get(), EVP_sha256()) == 0)
    return cannot("issue a certificate");
  return pemOf(raw, key.get());
}

}  // namespace HOQ::cert
