#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "front/EventLoop.h"
#include "tls/UniqueFd.h"

namespace HOQ::agent {

/// The head of a request, as far as this responder takes one: what to answer. Pure.
/// `complete` is false while the head's end has not come.
struct MetricsAnswer {
  bool complete = false;
  int status = 0;
};
MetricsAnswer answerTo(const std::string& request);

/// Answers GET /metrics, and closes. A few connections at a time, short requests, and not for long.
/// Belongs to the loop's thread.
class MetricsServer {
 public:
  MetricsServer(EventLoop& loop, std::function<std::string()> text)
      : loop_(loop), text_(std::move(text)) {}
  ~MetricsServer();

  void take(tls::UniqueFd socket);

 private:
  struct Visit {
    tls::UniqueFd socket;
    EventLoop::Timer timer = 0;
    std::string request;
    std::string answer;
    std::size_t sent = 0;
  };

  void read(std::uint64_t id);
  void write(std::uint64_t id);
  void close(std::uint64_t id);

  EventLoop& loop_;
  const std::function<std::string()> text_;
  std::uint64_t lastId_ = 0;
  std::map<std::uint64_t, Visit> visits_;
};

}  // namespace HOQ::agent
