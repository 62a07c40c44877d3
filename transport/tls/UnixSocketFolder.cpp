#include "tls/UnixSocketFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace HOQ::tls {
namespace {

std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

Error refuse(const std::string& socketPath, const std::string& folder, const std::string& why) {
  return {ErrorKind::kUsage, "unix:" + socketPath + ": the folder \"" + folder + "\" " + why};
}

std::optional<Error> checkOne(const std::string& socketPath, const std::string& folder,
                              bool stickyIsFine) {
  struct stat info {};
  if (::stat(folder.c_str(), &info) != 0) return refuse(socketPath, folder, std::strerror(errno));
  if (!S_ISDIR(info.st_mode)) return refuse(socketPath, folder, "is no folder");
  if (info.st_uid != 0 && info.st_uid != ::geteuid())
    return refuse(socketPath, folder, "belongs to another user, who could replace the socket");
  if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !(stickyIsFine && (info.st_mode & S_ISVTX) != 0))
    return refuse(socketPath, folder, "is writable by others, who could replace the socket");
  return std::nullopt;
}

}  // namespace

std::optional<Error> checkUnixSocketFolder(const std::string& socketPath) {
  const std::string folder = parentOf(socketPath);
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(folder.c_str(), nullptr),
                                                             &std::free);
  if (resolved == nullptr) return refuse(socketPath, folder, std::strerror(errno));
  std::string path = resolved.get();
  if (auto error = checkOne(socketPath, path, false)) return error;
  while (path != "/") {
    path = parentOf(path);
    if (auto error = checkOne(socketPath, path, true)) return error;
  }
  return std::nullopt;
}

}  // namespace HOQ::tls
