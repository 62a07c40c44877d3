#include "tls/TlsContext.h"

#include "tls/Certificate.h"
#include "tls/OpenSslContext.h"
#include "tls/PemFile.h"
#include "tls/RevokedList.h"

namespace HOQ::tls {
namespace {

constexpr std::size_t kMostRevokedBytes = 64 << 20;

Result<RevokedList> readRevoked(const std::string& file) {
  if (file.empty()) return RevokedList();
  auto text = readText(file, kMostRevokedBytes);
  if (!text) return text.error();
  return parseRevokedList(file, *text);
}

/// Why it cannot be shown to anybody; empty where it can.
std::string cannotShow(const X509* certificate) {
  if (X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0)
    return "the certificate has expired: issue a new one";
  if (X509_cmp_current_time(X509_get0_notBefore(certificate)) > 0)
    return "the certificate is not valid yet: is the clock right?";
  return "";
}

}  // namespace

Result<std::shared_ptr<const TlsContext>> TlsContext::load(const TlsFiles& files) {
  auto authorities = readCertificates(files.authorities);
  if (!authorities) return authorities.error();
  auto chain = readCertificates(files.certificate);
  if (!chain) return chain.error();
  if (const std::string why = cannotShow(chain->front().get()); !why.empty())
    return Error{ErrorKind::kUsage, files.certificate + ": " + why};
  auto key = readKey(files.key);
  if (!key) return key.error();
  auto revoked = readRevoked(files.revoked);
  if (!revoked) return revoked.error();
  auto context =
      std::make_shared<OpenSslContext>(describe(chain->front().get()), std::move(*revoked));
  if (auto error = context->fill(files, *chain, key->get(), *authorities)) return *error;
  return std::shared_ptr<const TlsContext>(std::move(context));
}

}  // namespace HOQ::tls
