#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace HOQ::agent {

/// Appends values to a message: integers little-endian, texts with their length before them.
class WireWriter {
 public:
  void u8(std::uint8_t value) { bytes_.push_back(static_cast<char>(value)); }
  void u32(std::uint32_t value) { integer(value, 4); }
  void u64(std::uint64_t value) { integer(value, 8); }
  void i32(std::int32_t value) { u32(static_cast<std::uint32_t>(value)); }

  /// At most the first `limit` bytes of `text`.
  void text(std::string_view text, std::size_t limit);

  std::string take() { return std::move(bytes_); }

 private:
  void integer(std::uint64_t value, int bytes);

  std::string bytes_;
};

enum class Read { Ok, Missing, WrongValue, TooLong };

/// Takes values from a message that may be anything. Unless Ok, `out` and the position are
/// unchanged, and every later call answers the same: a row of reads is judged once, at its end.
/// The bytes must outlive the reader.
class WireReader {
 public:
  explicit WireReader(std::string_view bytes) : rest_(bytes) {}

  /// One byte with a value up to `last`.
  Read upTo(std::uint8_t last, std::uint8_t& out);
  Read u32(std::uint32_t& out);
  Read u64(std::uint64_t& out);
  Read i32(std::int32_t& out);

  /// At most `limit` bytes; memory is taken only for what arrived.
  Read text(std::size_t limit, std::string& out);

  /// A count of at most `limit` things that follow.
  Read count(std::uint32_t limit, std::uint32_t& out);

  /// The first failure, or Ok.
  Read state() const { return state_; }
  bool atEnd() const { return rest_.empty(); }

 private:
  Read integer(int bytes, std::uint64_t& out);
  Read fail(Read why) { return state_ = why; }

  std::string_view rest_;
  Read state_ = Read::Ok;
};

}  // namespace HOQ::agent
