#pragma once

#include <atomic>
#include <memory>
#include <thread>

#include <hoq/HOQPluginLoader.h>

#include "NodeClient.h"
#include "NodeServer.h"
#include "worker/ControlClient.h"
#include "worker/FrontDialer.h"
#include "worker/Reports.h"

namespace HOQ::agent {

/// What a worker does between its start and its end: serves one client until the front says, or
/// shows by closing the socket, that it is to end.
class Service {
 public:
  /// Not owned, outlives this.
  explicit Service(ControlClient& control);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// Loads the plugins and starts to serve `welcome`'s client. False when that cannot be; the
  /// front knows why.
  [[nodiscard]] bool start(const Welcome& welcome);

  /// Takes connections and orders until the end.
  void run();

 private:
  bool waitForMessage();
  void report();
  void breakOff();
  void obey(const Message& message, tls::UniqueFd descriptor);
  void drain(const Drain& order);

  ControlClient& control_;
  FrontDialer dialer_;
  Reports reports_;
  HOQPluginLoader plugins_;
  std::unique_ptr<transport::NodeClient> nodes_;
  std::unique_ptr<transport::NodeServer> server_;
  tls::UniqueFd drained_;  // readable when draining has ended
  std::thread draining_;
};

}  // namespace HOQ::agent
