#pragma once

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>

namespace HOQ::tls {

template <auto Free>
struct OpenSslFree {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};

// The owners of libcrypto's objects.
using BioPtr = std::unique_ptr<BIO, OpenSslFree<BIO_free>>;
using X509Ptr = std::unique_ptr<X509, OpenSslFree<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, OpenSslFree<EVP_PKEY_free>>;
using GeneralNamesPtr = std::unique_ptr<GENERAL_NAMES, OpenSslFree<GENERAL_NAMES_free>>;

/// What libcrypto says of the last failure of this thread, and forgets it.
inline std::string openSslReason() {
  const unsigned long code = ERR_get_error();
  const char* reason = code == 0 ? nullptr : ERR_reason_error_string(code);
  ERR_clear_error();
  return reason == nullptr ? "no reason given" : reason;
}

}  // namespace HOQ::tls
