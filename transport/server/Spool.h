#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace HOQ::transport {

/// Bytes that are wanted in one block: in memory while they are few, else in a temporary file that
/// has no name and is mapped, so that what a peer sends does not fill the memory. One thread.
class Spool {
 public:
  Spool() = default;
  ~Spool() { clear(); }
  Spool(const Spool&) = delete;
  Spool& operator=(const Spool&) = delete;

  void clear();
  /// False: there is no room; what was there stays.
  [[nodiscard]] bool append(const char* bytes, std::size_t count);
  std::size_t size() const { return size_; }
  /// All of them, valid until the next change; null when the file cannot be mapped.
  const char* bytes();

 private:
  static constexpr std::size_t kInMemory = 4 * 1024 * 1024;

  struct Close {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }  // it is thrown away
  };

  std::string memory_;
  std::unique_ptr<std::FILE, Close> file_;
  void* mapped_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace HOQ::transport
