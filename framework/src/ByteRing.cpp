#include "ByteRing.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace HOQ {
namespace {

constexpr std::size_t kFirstBytes = std::size_t{16} << 10;

}  // namespace

void ByteRing::put(const char* bytes, std::size_t count) {
  if (size_ + count > capacity_) grow(size_ + count);
  const std::size_t tail = (head_ + size_) % capacity_;
  const std::size_t first = std::min(count, capacity_ - tail);
  std::memcpy(memory_.get() + tail, bytes, first);
  std::memcpy(memory_.get(), bytes + first, count - first);
  size_ += count;
}

std::size_t ByteRing::get(char* bytes, std::size_t count) {
  const std::size_t taken = std::min(count, size_);
  if (taken == 0) return 0;
  copyOut(bytes, taken);
  size_ -= taken;
  // An empty ring starts over, so that a piece that fits is one copy.
  head_ = size_ == 0 ? 0 : (head_ + taken) % capacity_;
  return taken;
}

void ByteRing::grow(std::size_t needed) {
  const std::size_t wanted = std::max({needed, capacity_ * 2, kFirstBytes});
  const std::size_t capacity = std::min(wanted, limit_);
  auto memory = std::make_unique_for_overwrite<char[]>(capacity);
  if (size_ > 0) copyOut(memory.get(), size_);
  memory_ = std::move(memory);
  capacity_ = capacity;
  head_ = 0;
}

void ByteRing::copyOut(char* bytes, std::size_t count) const {
  const std::size_t first = std::min(count, capacity_ - head_);
  std::memcpy(bytes, memory_.get() + head_, first);
  std::memcpy(bytes + first, memory_.get(), count - first);
}

}  // namespace HOQ
