#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace HOQ::cli {

/// Reads pairs of texts, each appended by appendText(), from a stretch of bytes that is somewhere
/// else. One thread.
class Frames {
 public:
  /// Appends to `out` up to `length` bytes from `offset` on, at least one.
  using Read = std::function<void(std::uint64_t offset, std::size_t length, std::string& out)>;

  /// The bytes from `begin` to `end`, `atOnce` of them at a time, about.
  Frames(Read read, std::uint64_t begin, std::uint64_t end, std::size_t atOnce)
      : read_(std::move(read)), at_(begin), end_(end), atOnce_(atOnce) {}

  /// The next pair, valid until the next call. False: there is no further one.
  bool next(std::string_view& key, std::string_view& value);

 private:
  bool readMore();

  const Read read_;
  std::uint64_t at_;  // where the next bytes are
  const std::uint64_t end_;
  const std::size_t atOnce_;
  std::string buffer_;
  std::size_t used_ = 0;
};

}  // namespace HOQ::cli
