#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace HOQ::cli {

/// A file without a name in TMPDIR, else /tmp, which goes with this object. One thread.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile();

  /// Makes it, the first time, and writes `text` at `offset`. False: that is not possible.
  [[nodiscard]] bool write(std::string_view text, std::uint64_t offset);

  /// Appends to `out` up to `length` bytes (above 0) from `offset` on, at least one. Throws
  /// CommandError where there are none to be read.
  void read(std::uint64_t offset, std::size_t length, std::string& out) const;

 private:
  int file_ = -1;
};

}  // namespace HOQ::cli
