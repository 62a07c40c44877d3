#include "cert/PemFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace HOQ::cert {
namespace {

using tls::Error;
using tls::ErrorKind;

constexpr mode_t kForAll = 0644;
constexpr mode_t kForOwner = 0600;

Error failure(const std::string& file, const std::string& why) {
  return {ErrorKind::kSystem, file + ": " + why};
}

/// A file that has no name anybody looks for yet. It goes away at the end.
class Draft {
 public:
  explicit Draft(const std::string& finalPath)
      : finalPath_(finalPath), path_(finalPath + ".XXXXXX") {}
  ~Draft() {
    if (made_) std::filesystem::remove(path_, ignored_);
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  std::optional<Error> write(const std::string& text, mode_t mode) {
    const int fd = ::mkostemp(path_.data(), O_CLOEXEC);
    if (fd < 0) return failure(finalPath_, std::strerror(errno));
    made_ = true;
    const int error = fill(fd, text, mode);
    const int closed = ::close(fd) == 0 ? 0 : errno;
    if (error != 0 || closed != 0)
      return failure(finalPath_, std::strerror(error != 0 ? error : closed));
    return std::nullopt;
  }

  /// Gives it its name, unless that is taken.
  std::optional<Error> publish() {
    std::error_code error;
    std::filesystem::create_hard_link(path_, finalPath_, error);
    if (!error) return std::nullopt;
    if (error == std::errc::file_exists)
      return Error{ErrorKind::kUsage, finalPath_ + ": is there already and stays as it is"};
    return failure(finalPath_, error.message());
  }

  void withdraw() { std::filesystem::remove(finalPath_, ignored_); }

 private:
  /// 0 or errno.
  static int fill(int fd, const std::string& text, mode_t mode) {
    for (std::size_t done = 0; done < text.size();) {
      const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
      if (written < 0 && errno != EINTR) return errno;
      if (written > 0) done += static_cast<std::size_t>(written);
    }
    if (::fchmod(fd, mode) != 0 || ::fsync(fd) != 0) return errno;
    return 0;
  }

  const std::string finalPath_;
  std::string path_;
  bool made_ = false;
  std::error_code ignored_;  // a draft that stays is a nuisance, no failure
};

/// No signal ends the program between the two names of a pair.
class SignalsWait {
 public:
  SignalsWait() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsWait() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsWait(const SignalsWait&) = delete;
  SignalsWait& operator=(const SignalsWait&) = delete;

 private:
  sigset_t before_;
};

tls::Result<std::string> readFile(const std::string& path) {
  errno = 0;
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream text;
  if (!stream || !(text << stream.rdbuf()))
    return Error{ErrorKind::kUsage,
                 path + ": cannot be read: " + (errno != 0 ? std::strerror(errno) : "it is empty")};
  return text.str();
}

}  // namespace

std::string certificateFile(const std::string& directory, const std::string& name) {
  return directory + "/" + name + ".pem";
}

std::string keyFile(const std::string& directory, const std::string& name) {
  return directory + "/" + name + ".key";
}

std::optional<Error> writePair(const std::string& directory, const std::string& name,
                               const PemPair& pair) {
  const SignalsWait wait;
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) return failure(directory, error.message());
  Draft key(keyFile(directory, name));
  Draft certificate(certificateFile(directory, name));
  if (auto failed = key.write(pair.key, kForOwner)) return failed;
  if (auto failed = certificate.write(pair.certificate, kForAll)) return failed;
  if (auto failed = key.publish()) return failed;
  auto failed = certificate.publish();
  if (failed) key.withdraw();
  return failed;
}

tls::Result<Authority> readAuthority(const std::string& directory) {
  const auto certificate = readFile(certificateFile(directory, "ca"));
  if (!certificate) return certificate.error();
  const auto key = readFile(keyFile(directory, "ca"));
  if (!key) return key.error();
  return Authority::load(*certificate, certificateFile(directory, "ca"), *key,
                         keyFile(directory, "ca"));
}

}  // namespace HOQ::cert
