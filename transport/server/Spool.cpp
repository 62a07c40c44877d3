#include "server/Spool.h"

#include <sys/mman.h>

namespace HOQ::transport {

void Spool::clear() {
  if (mapped_ != nullptr) (void)::munmap(mapped_, size_);
  mapped_ = nullptr;
  file_.reset();
  memory_.clear();
  size_ = 0;
}

bool Spool::append(const char* bytes, std::size_t count) {
  if (!file_ && memory_.size() + count <= kInMemory) {
    memory_.append(bytes, count);
    size_ += count;
    return true;
  }
  if (!file_) {
    file_.reset(std::tmpfile());
    if (!file_ || std::fwrite(memory_.data(), 1, memory_.size(), file_.get()) != memory_.size())
      return false;
    memory_ = std::string();
  }
  if (std::fwrite(bytes, 1, count, file_.get()) != count) return false;
  size_ += count;
  return true;
}

const char* Spool::bytes() {
  if (!file_) return memory_.data();
  if (mapped_ != nullptr) return static_cast<const char*>(mapped_);
  if (std::fflush(file_.get()) != 0) return nullptr;
  void* const mapped = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, ::fileno(file_.get()), 0);
  if (mapped == MAP_FAILED) return nullptr;
  mapped_ = mapped;
  return static_cast<const char*>(mapped_);
}

}  // namespace HOQ::transport
