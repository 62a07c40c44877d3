#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "control/ControlSocket.h"
#include "front/Setup.h"
#include "front/WorkerStarter.h"

namespace HOQ::agent {

/// Starts no process: the test holds the workers' ends and says what they say.
class FakeStarter : public WorkerStarter {
 public:
  tls::Result<Started> start(const std::string& entry) override {
    started.push_back(entry);
    if (fails) return tls::Error{tls::ErrorKind::kSystem, "no room"};
    auto [front, worker] = ControlSocket::pair();
    EXPECT_EQ(::fcntl(front.get(), F_SETFL, O_NONBLOCK), 0);
    ends.emplace(++lastPid, ControlSocket(std::move(worker), Sender::Front));
    return Started{lastPid, std::move(front)};
  }
  void kill(pid_t pid) override { killed.push_back(pid); }
  void reap(const std::function<void(pid_t, const std::string&)>& ended) override {
    for (const pid_t pid : reapable) ended(pid, "exit status 0");
    reapable.clear();
  }

  ControlSocket& end(pid_t pid) { return ends.at(pid); }

  bool fails = false;
  pid_t lastPid = 0;
  std::vector<std::string> started;
  std::vector<pid_t> killed;
  std::vector<pid_t> reapable;
  std::map<pid_t, ControlSocket> ends;
};

inline std::shared_ptr<Settings> settingsWith(std::vector<ClientEntry> clients,
                                              Limits limits = {}) {
  auto settings = std::make_shared<Settings>();
  settings->nodeEid = std::string(32, 'e');
  settings->configuration.clients = std::move(clients);
  settings->configuration.limits = limits;
  return settings;
}

}  // namespace HOQ::agent
