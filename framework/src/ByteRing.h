#pragma once

#include <cstddef>
#include <memory>

namespace HOQ {

/// Bytes in the order they came, at most `limit` of them. Memory is taken as it is needed. One
/// thread at a time.
class ByteRing {
 public:
  explicit ByteRing(std::size_t limit) : limit_(limit) {}

  std::size_t size() const { return size_; }
  std::size_t room() const { return limit_ - size_; }
  std::size_t limit() const { return limit_; }

  /// Takes `count` bytes in, which there is room for. When it throws, nothing was taken.
  void put(const char* bytes, std::size_t count);

  /// Hands out up to `count` bytes and returns how many.
  std::size_t get(char* bytes, std::size_t count);

 private:
  void grow(std::size_t needed);
  void copyOut(char* bytes, std::size_t count) const;

  const std::size_t limit_;
  std::unique_ptr<char[]> memory_;
  std::size_t capacity_ = 0;
  std::size_t head_ = 0;  // where the oldest byte stands
  std::size_t size_ = 0;
};

}  // namespace HOQ
