#include "tls/PemFile.h"

#include <fcntl.h>
#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tls/UniqueFd.h"

namespace HOQ::tls {
namespace {

constexpr std::size_t kMostPemBytes = 4 << 20;

Error refuse(const std::string& file, const std::string& why) {
  return {ErrorKind::kUsage, file + ": " + why};
}

Result<UniqueFd> openFile(const std::string& file) {
  // Without waiting for a FIFO's writer.
  UniqueFd fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) return refuse(file, std::string("cannot be read: ") + std::strerror(errno));
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode))
    return refuse(file, "is no regular file");
  return fd;
}

Result<std::string> readAll(const std::string& file, int fd, std::size_t limit) {
  std::string text;
  char piece[16 * 1024];
  for (;;) {
    const ssize_t got = ::read(fd, piece, sizeof piece);
    if (got == 0) return text;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return refuse(file, std::string("cannot be read: ") + std::strerror(errno));
    text.append(piece, static_cast<std::size_t>(got));
    if (text.size() > limit) return refuse(file, "is too long for what it should hold");
  }
}

/// What ssh asks of a key's file; root's may be read by its group, as a daemon's key is.
bool isKept(int fd) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) return false;
  if (info.st_uid == 0) return (info.st_mode & (S_IWGRP | S_IRWXO)) == 0;
  return info.st_uid == ::geteuid() && (info.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

BioPtr bioOf(const std::string& text) {
  return BioPtr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

/// Nobody is asked for a pass phrase: a daemon has nobody to ask.
int noPassPhrase(char*, int, int, void* asked) {
  *static_cast<bool*>(asked) = true;
  return -1;
}

}  // namespace

Result<std::string> readText(const std::string& file, std::size_t limit) {
  auto fd = openFile(file);
  if (!fd) return fd.error();
  return readAll(file, fd->get(), limit);
}

Result<std::vector<X509Ptr>> readCertificates(const std::string& file) {
  auto text = readText(file, kMostPemBytes);
  if (!text) return text.error();
  ERR_clear_error();
  const BioPtr bio = bioOf(*text);
  std::vector<X509Ptr> certificates;
  while (X509* one = PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr))
    certificates.emplace_back(one);
  const unsigned long end = ERR_peek_last_error();
  const bool orderly =
      ERR_GET_LIB(end) == ERR_LIB_PEM && ERR_GET_REASON(end) == PEM_R_NO_START_LINE;
  ERR_clear_error();
  if (!orderly) return refuse(file, "holds a certificate that is damaged");
  if (certificates.empty()) return refuse(file, "holds no certificate in PEM form");
  return certificates;
}

Result<KeyPtr> readKey(const std::string& file) {
  auto fd = openFile(file);
  if (!fd) return fd.error();
  if (!isKept(fd->get()))
    return refuse(file,
                  "others than its owner may read this key, or it is somebody else's (chmod 600, "
                  "and chown to the user that uses it)");
  auto text = readAll(file, fd->get(), kMostPemBytes);
  if (!text) return text.error();
  ERR_clear_error();
  bool asked = false;
  KeyPtr key(PEM_read_bio_PrivateKey(bioOf(*text).get(), nullptr, noPassPhrase, &asked));
  OPENSSL_cleanse(text->data(), text->size());
  ERR_clear_error();
  if (asked) return refuse(file, "the key is encrypted; one without a pass phrase is needed");
  if (key == nullptr) return refuse(file, "holds no private key in PEM form");
  return key;
}

}  // namespace HOQ::tls
