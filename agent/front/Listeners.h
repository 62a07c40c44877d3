#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "front/EventLoop.h"
#include "tls/Result.h"
#include "tls/Sockets.h"

namespace HOQ::agent {

/// The sockets that are listened on, by the text that the configuration names them with. Belongs
/// to the loop's thread.
class Listeners {
 public:
  using Accepted = std::function<void(tls::UniqueFd socket, bool isUnix)>;
  using Opened = std::map<std::string, std::vector<tls::Listener>>;

  Listeners(EventLoop& loop, Accepted accepted) : loop_(loop), accepted_(std::move(accepted)) {}
  ~Listeners() { closeAll(); }
  Listeners(const Listeners&) = delete;
  Listeners& operator=(const Listeners&) = delete;

  /// Opens those of `wanted` that neither are open nor stand in `opened`, and adds them there;
  /// nothing is accepted yet.
  tls::Result<Opened> open(const std::vector<std::string>& wanted, Opened opened = {}) const;

  /// Accepts from what open() opened, and closes what is not `wanted`. Returns the addresses that
  /// are new, with the ports that the system chose.
  std::vector<std::string> adopt(Opened opened, const std::vector<std::string>& wanted);

  void closeAll();

 private:
  void accept(const tls::Listener& listener);
  void watch(const tls::Listener& listener);
  void forget(const tls::Listener& listener);

  EventLoop& loop_;
  const Accepted accepted_;
  Opened open_;
  std::map<int, EventLoop::Timer> pauses_;  // by descriptor
};

}  // namespace HOQ::agent
