#include "listing/TemporaryFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

/// A file that goes with its descriptor. -1: there can be none.
int openTemporary() {
  const char* folder = std::getenv("TMPDIR");
  if (folder == nullptr || *folder == '\0') folder = "/tmp";
  const int unnamed = ::open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (unnamed >= 0) return unnamed;
  std::string name = std::string(folder) + "/hoq-XXXXXX";
  const int file = ::mkostemp(name.data(), O_CLOEXEC);
  if (file >= 0) (void)::unlink(name.c_str());  // else it stays there, which harms nobody
  return file;
}

}  // namespace

TemporaryFile::~TemporaryFile() {
  if (file_ >= 0) (void)::close(file_);
}

bool TemporaryFile::write(std::string_view text, std::uint64_t offset) {
  if (file_ < 0) file_ = openTemporary();
  if (file_ < 0) return false;
  while (!text.empty()) {
    const ssize_t written = ::pwrite(file_, text.data(), text.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
  return true;
}

void TemporaryFile::read(std::uint64_t offset, std::size_t length, std::string& out) const {
  const std::size_t had = out.size();
  out.resize(had + length);
  ssize_t got;
  do {
    got = ::pread(file_, out.data() + had, length, static_cast<off_t>(offset));
  } while (got < 0 && errno == EINTR);
  const int error = got < 0 ? errno : EIO;
  if (got <= 0)
    throw CommandError(kExitFailed,
                       std::string("cannot read what was set aside: ") + std::strerror(error));
  out.resize(had + static_cast<std::size_t>(got));
}

}  // namespace HOQ::cli
