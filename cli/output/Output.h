#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace HOQ::cli {

/// Standard output, written in large pieces. One thread. What cannot be written throws
/// CommandError(kExitFailed) "cannot write the output: ..."; a broken pipe ends the process before
/// that, unless its signal is ignored.
class Output {
 public:
  using Buffer = fmt::memory_buffer;

  /// `descriptor` is not owned.
  explicit Output(int descriptor);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  bool isTerminal() const { return terminal_; }
  /// Columns of the terminal, 80 where they are unknown.
  std::size_t columns() const;

  /// Where output is put together; call checkpoint() between its pieces.
  Buffer& buffer() { return buffer_; }
  void append(std::string_view text) { appendTo(buffer_, text); }
  static void appendTo(Buffer& buffer, std::string_view text) {
    const std::size_t had = buffer.size();
    buffer.resize(had + text.size());
    std::copy(text.begin(), text.end(), buffer.data() + had);
  }

  /// Writes what has come together, when that is much.
  void checkpoint() {
    if (buffer_.size() >= kPieceBytes) flush();
  }
  void flush();

 private:
  static constexpr std::size_t kPieceBytes = 64 * 1024;

  const int descriptor_;
  const bool terminal_;
  Buffer buffer_;
};

/// Opens the standard descriptors that the process was started without, so that no file of the
/// program's own takes their place: for reading only, so that writing still fails as it should.
void occupyStandardDescriptors();

}  // namespace HOQ::cli
