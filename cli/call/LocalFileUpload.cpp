#include "call/LocalFileUpload.h"

#include <hoq/HOQErrorMessage.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace HOQ::cli {
namespace {

/// What is read at once: an announced size is not believed before its bytes are there.
constexpr std::size_t kStep = 1024 * 1024;

}  // namespace

int LocalFileUpload::start() {
  (void)close();
  errno = 0;
  stream_.open(file_, std::ios::binary);
  if (stream_) return 0;
  const int cause = errno;
  setErrorMessage("Cannot read file \"%s\": %s [%d]", file_, std::strerror(cause), cause);
  return -1;
}

int LocalFileUpload::data(std::size_t count, const char*& block) {
  block_.clear();
  while (block_.size() < count) {
    const std::size_t have = block_.size();
    const std::size_t step = std::min(kStep, count - have);
    block_.resize(have + step);
    stream_.read(&block_[have], static_cast<std::streamsize>(step));
    if (static_cast<std::size_t>(stream_.gcount()) != step) return -1;
  }
  block = block_.data();
  return 0;
}

int LocalFileUpload::close() {
  stream_ = std::ifstream();
  block_ = std::string();
  return 0;
}

}  // namespace HOQ::cli
