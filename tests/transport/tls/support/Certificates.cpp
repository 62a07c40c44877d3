#include "transport/tls/support/Certificates.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <fstream>

#include "cert/PemFiles.h"

namespace HOQ::test {
namespace {

/// What was made, or an exception that ends the test: there is nothing to try without it.
template <class T>
T made(tls::Result<T> result) {
  if (!result) throw std::runtime_error(result.error().text);
  return std::move(*result);
}

}  // namespace

cert::Validity days(std::int64_t from, std::int64_t to) {
  const std::int64_t now = std::time(nullptr);
  return {now + from * kDay, now + to * kDay};
}

Certificates::Certificates(cert::KeyKind key)
    : authority_(made(cert::Authority::make(days(-400, 400), key))) {
  write("ca.pem", made(authority_.pair()).certificate);
}

tls::TlsFiles Certificates::issue(const std::string& file, const CertificateCase& what) {
  cert::Wanted wanted{{}, what.validity, what.key, what.forServers, what.forClients};
  for (const std::string& name : what.names)
    wanted.names.push_back(made(cert::AlternativeName::parse(name)));
  if (auto error = cert::writePair(directory_.path(), file, made(authority_.issue(wanted))))
    throw std::runtime_error(error->text);
  return {authorityFile(), cert::certificateFile(directory_.path(), file),
          cert::keyFile(directory_.path(), file), ""};
}

tls::TlsContextPtr Certificates::context(const std::string& file, const CertificateCase& what) {
  return load(issue(file, what));
}

std::string Certificates::write(const std::string& file, const std::string& text, unsigned mode) {
  const std::string path = directory_ / file;
  std::ofstream(path) << text;
  ::chmod(path.c_str(), mode);
  return path;
}

tls::TlsContextPtr load(const tls::TlsFiles& files) {
  auto context = tls::TlsContext::load(files);
  if (context) return *context;
  ADD_FAILURE() << context.error().text;
  return nullptr;
}

}  // namespace HOQ::test
