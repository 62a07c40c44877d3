#pragma once

#include <functional>

#include "front/EventLoop.h"
#include "tls/UniqueFd.h"

namespace HOQ::agent {

/// The signals that the daemon acts on, told in its loop instead of in the middle of something.
class SignalSource {
 public:
  /// Before there are threads: each of them inherits the mask. SIGPIPE and SIGXFSZ are
  /// ignored.
  static void block();

  /// Throws std::system_error.
  SignalSource(EventLoop& loop, std::function<void(int signal)> each);
  ~SignalSource();
  SignalSource(const SignalSource&) = delete;
  SignalSource& operator=(const SignalSource&) = delete;

 private:
  void read();

  EventLoop& loop_;
  const std::function<void(int)> each_;
  tls::UniqueFd fd_;
};

}  // namespace HOQ::agent
