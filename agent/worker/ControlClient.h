#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "control/ControlSocket.h"

namespace HOQ::agent {

/// The worker's side of the control socket: one thread receives, any thread sends and dials.
class ControlClient {
 public:
  explicit ControlClient(tls::UniqueFd fd) : socket_(std::move(fd), Sender::Front) {}

  int fd() const { return socket_.fd(); }

  /// Waits for the front's next message. Answers to dials are handed to those who wait for them
  /// and not returned: then `message` is empty. One thread.
  struct Received {
    bool closed = false;
    std::optional<Message> message;
    tls::UniqueFd descriptor;
  };
  Received receive();

  /// Waits while the front is slow to read. A front that is gone is found out by receive().
  void send(const Message& message);
  void log(LogLevel level, const std::string& text) { send(Log{level, text}); }

  /// Asks the front for a connection, and waits for it.
  struct Dialled {
    DialOutcome outcome = DialOutcome::Unreachable;
    std::string text;
    tls::UniqueFd descriptor;
  };
  Dialled dial(const std::string& address);

  /// Every dial fails from now on, those that wait included.
  void giveUp();

 private:
  ControlSocket socket_;
  std::mutex sending_;
  std::mutex mutex_;  // guards what follows
  std::condition_variable answered_;
  bool gaveUp_ = false;
  std::uint32_t lastRequest_ = 0;
  std::map<std::uint32_t, std::optional<Dialled>> dials_;
};

}  // namespace HOQ::agent
