#pragma once

#include <utility>

namespace HOQ::tls {

/// The one owner of a file descriptor; closes it. Empty when negative. One thread at a time.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~UniqueFd() { reset(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

  /// Gives it away: the caller closes it.
  [[nodiscard]] int release() { return std::exchange(fd_, -1); }

  /// Closes what it holds and takes `fd`. errno stays as it was.
  void reset(int fd = -1);

 private:
  int fd_ = -1;
};

}  // namespace HOQ::tls
