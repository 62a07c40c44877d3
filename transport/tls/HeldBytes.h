#pragma once

#include <cstddef>
#include <vector>

namespace HOQ::tls {

/// Bytes that wait for their taker. Empty, it has no memory.
class HeldBytes {
 public:
  bool empty() const { return bytes_.empty(); }
  const unsigned char* data() const { return bytes_.data() + gone_; }
  std::size_t size() const { return bytes_.size() - gone_; }

  void hold(const unsigned char* bytes, std::size_t count) { bytes_.assign(bytes, bytes + count); }

  /// The first `count` are taken.
  void drop(std::size_t count) {
    gone_ += count;
    if (gone_ == bytes_.size()) clear();
  }

  void clear() {
    std::vector<unsigned char>().swap(bytes_);
    gone_ = 0;
  }

 private:
  std::vector<unsigned char> bytes_;
  std::size_t gone_ = 0;
};

}  // namespace HOQ::tls
