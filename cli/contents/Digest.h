#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace HOQ::cli {

/// SHA-256 of bytes as they come by. One thread. Throws CommandError where it cannot be computed.
class Digest {
 public:
  Digest();
  Digest(const Digest& other);
  Digest& operator=(const Digest&) = delete;
  ~Digest();

  void add(const char* bytes, std::size_t count);

  /// Of the bytes so far, 32 of its own; more may be added afterwards.
  std::string value() const;

  /// The first `digits` hexadecimal digits of the value, 64 at most.
  std::string hex(std::size_t digits) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace HOQ::cli
