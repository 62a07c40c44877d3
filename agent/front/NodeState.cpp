#include "front/NodeState.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

#include <hoq/HOQNodeIdentity.h>

namespace HOQ::agent {
namespace {

namespace fs = std::filesystem;

struct CloseFile {
  void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

constexpr std::size_t kDigits = 32;

tls::Error failure(const std::string& what, int error) {
  return {tls::ErrorKind::kUsage, what + ": " + std::generic_category().message(error)};
}

/// Empty where there is no such file.
tls::Result<std::string> readEid(const std::string& name) {
  const File file(std::fopen(name.c_str(), "re"));
  if (!file) {
    const int error = errno;
    if (error == ENOENT) return std::string();
    return failure("cannot read " + name, error);
  }
  char text[kDigits + 2];  // and one byte that shows that there is more
  const std::size_t got = std::fread(text, 1, sizeof text, file.get());
  std::string digits(text, got);
  if (!digits.empty() && digits.back() == '\n') digits.pop_back();
  if (digits.size() != kDigits || eidFromText(digits) == HOQEID::EID_INVALID) {
    return tls::Error{tls::ErrorKind::kUsage, name + " does not hold a node's identifier"};
  }
  return digits;
}

/// Written whole under another name first: whoever finds the file finds an identifier in it.
tls::Result<std::string> makeEid(const std::string& name) {
  const std::string eid = toText(newEID());
  std::string fresh = name + ".XXXXXX";
  const int fd = ::mkstemp(fresh.data());
  if (fd < 0) return failure("cannot write " + fresh, errno);
  const File file(::fdopen(fd, "w"));
  const bool written = file && std::fputs((eid + "\n").c_str(), file.get()) >= 0 &&
                       std::fflush(file.get()) == 0 && ::fsync(fd) == 0;
  const int error = errno;
  std::error_code renamed;
  if (written) fs::rename(fresh, name, renamed);
  if (written && !renamed) return eid;
  std::error_code ignored;  // the first failure is the one to tell
  fs::remove(fresh, ignored);
  return failure("cannot write " + name, written ? renamed.value() : error);
}

}  // namespace

tls::Result<std::string> nodeEidIn(const std::string& state) {
  std::error_code error;
  if (fs::create_directory(state, error)) {
    fs::permissions(state, fs::perms::owner_all, error);
  }
  if (error) return failure("cannot make the folder " + state, error.value());
  const std::string name = state + "/eid";
  tls::Result<std::string> known = readEid(name);
  return !known || !known->empty() ? known : makeEid(name);
}

}  // namespace HOQ::agent
