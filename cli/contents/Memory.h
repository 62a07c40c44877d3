#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace HOQ::cli {

/// Bytes that begin at a page: the system copies to and from such ones twice as fast as to those
/// that begin anywhere.
class Memory {
 public:
  explicit Memory(std::size_t size)
      : bytes_(static_cast<char*>(::operator new[](size, std::align_val_t{kPage}))) {}

  char* get() const { return bytes_.get(); }

 private:
  static constexpr std::size_t kPage = 4096;

  struct Release {
    void operator()(char* bytes) const { ::operator delete[](bytes, std::align_val_t{kPage}); }
  };

  const std::unique_ptr<char, Release> bytes_;
};

}  // namespace HOQ::cli
