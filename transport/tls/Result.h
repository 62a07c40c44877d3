#pragma once

#include <string>
#include <utility>
#include <variant>

namespace HOQ::tls {

/// Why something failed, as far as a caller acts on it.
enum class ErrorKind {
  kUsage,        ///< what we were given cannot be used: an address, a file, a value
  kUnreachable,  ///< no such host, nobody listens there, or no way to it
  kTimedOut,     ///< the other side let its time pass
  kUntrusted,    ///< one side's certificate does not satisfy the other
  kProtocol,     ///< the other side does not speak TLS 1.3 with "h2"
  kLost,         ///< the connection broke off: cut short, reset
  kClosed,       ///< this side gave it up: close(), or the pump ends
  kSystem,       ///< this machine ran out of something
};

/// "unreachable", "untrusted": short and stable, for logs, metrics and messages.
const char* nameOf(ErrorKind kind);

/// A failure: what kind, and one line (no line break) for people that says what to look at.
struct Error {
  ErrorKind kind = ErrorKind::kSystem;
  std::string text;
};

/// A value or the reason why there is none. Reading the one that is not there throws
/// std::bad_variant_access: test first.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::move(value)) {}      // NOLINT: a value is a good result
  Result(Error error) : state_(std::move(error)) {}  // NOLINT: and a failure is a bad one

  explicit operator bool() const { return std::holds_alternative<T>(state_); }
  T& value() { return std::get<T>(state_); }
  const T& value() const { return std::get<T>(state_); }
  T& operator*() & { return value(); }
  T&& operator*() && { return std::move(value()); }
  const T& operator*() const& { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  const Error& error() const { return std::get<Error>(state_); }

 private:
  std::variant<T, Error> state_;
};

}  // namespace HOQ::tls
