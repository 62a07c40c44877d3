#include "config/ConfigurationFile.h"

#include <fcntl.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <system_error>

#include <hoq/HOQIdentity.h>

#include "tls/UniqueFd.h"

namespace HOQ::agent {
namespace {

constexpr std::size_t kMostBytes = 1 << 20;

tls::Error refuse(const std::string& why) { return {tls::ErrorKind::kUsage, why}; }

tls::Error failure(const std::string& what, int error) {
  return refuse(what + ": " + std::generic_category().message(error));
}

/// Why others than root can change what `info` describes; empty if they cannot. In a sticky folder
/// others can make files, but not touch those of root.
std::string whyNotRoots(const struct stat& info, bool isFolderAbove) {
  if (info.st_uid != 0) return "does not belong to root";
  const bool sticky = isFolderAbove && (info.st_mode & S_ISVTX) != 0;
  if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !sticky) return "can be written by others";
  return "";
}

/// The folders from the one that `file` really lies in to "/".
std::string whyFoldersAreNotRoots(const std::string& file) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(file.c_str(), nullptr),
                                                         &std::free);
  if (!real) return "cannot be found: " + std::generic_category().message(errno);
  std::string folder = real.get();
  while (folder != "/") {
    const std::size_t slash = folder.rfind('/');
    folder = slash == 0 ? "/" : folder.substr(0, slash);
    struct stat info {};
    if (::stat(folder.c_str(), &info) != 0) {
      return "its folder " + folder + ": " + std::generic_category().message(errno);
    }
    const std::string why = whyNotRoots(info, true);
    if (!why.empty()) return "its folder " + folder + " " + why + ", so that it could be replaced";
  }
  return "";
}

tls::Result<std::string> readWhole(int fd) {
  std::string text(kMostBytes + 1, '\0');
  std::size_t length = 0;
  while (length < text.size()) {
    const ssize_t got = ::read(fd, text.data() + length, text.size() - length);
    const int error = errno;
    if (got < 0 && error == EINTR) continue;
    if (got < 0) return failure("cannot be read", error);
    if (got == 0) break;
    length += static_cast<std::size_t>(got);
  }
  if (length > kMostBytes) return refuse("longer than 1 MiB");
  text.resize(length);
  return text;
}

std::optional<uid_t> uidOf(const std::string& user) {
  HOQUserCredentials credentials(HOQUserCredentials::kNone, HOQUserCredentials::kNone);
  if (credentialsOf(user, credentials) != 0) return std::nullopt;
  return credentials.uid;
}

/// Tries it in a child: in this process it could not be undone.
std::string whyNoMountNamespaces() {
  const pid_t child = ::fork();
  if (child == 0) {
    const bool made = ::unshare(CLONE_NEWNS) == 0 &&
                      ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    ::_exit(made ? 0 : errno);
  }
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child) return "no process to try it in";
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return "";
  return WIFEXITED(status) ? std::generic_category().message(WEXITSTATUS(status)) : "killed";
}

}  // namespace

tls::Result<std::string> configurationText(const std::string& file, bool onlyRoots) {
  const tls::UniqueFd fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (!fd) return failure("cannot be opened", errno);
  if (onlyRoots) {
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) return failure("cannot be examined", errno);
    std::string why = whyNotRoots(info, false);
    if (why.empty()) why = whyFoldersAreNotRoots(file);
    if (!why.empty()) return refuse(why);
  }
  return readWhole(fd.get());
}

ReadConfiguration readConfiguration(const std::string& file, const Surroundings& surroundings) {
  const auto text = configurationText(file, surroundings.isRoot);
  if (text) return parseConfiguration(*text, file, surroundings);
  return ReadConfiguration{{}, {file + ":1: " + text.error().text}};
}

Surroundings currentSurroundings() {
  HOQUserCredentials own(HOQUserCredentials::kNone, HOQUserCredentials::kNone);
  const bool known = credentialsOf(static_cast<std::uint32_t>(::geteuid()), own) == 0;
  return {known ? own.name : std::to_string(::geteuid()), ::geteuid() == 0, uidOf,
          whyNoMountNamespaces};
}

}  // namespace HOQ::agent
