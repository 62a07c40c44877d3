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

/// Starts no process: the test holds the workers' ends and says what they say. The pid of a worker
/// is its id, and what is started is there at once, unless it is to be `late`.
class FakeStarter : public WorkerStarter {
 public:
  void setListener(Listener listener) override { listener_ = std::move(listener); }

  void start(Id id, const std::string& entry) override {
    started.push_back(entry);
    if (fails) return listener_.failed(id, "no room");
    auto [front, worker] = ControlSocket::pair();
    EXPECT_EQ(::fcntl(front.get(), F_SETFL, O_NONBLOCK), 0);
    ends.emplace(id, ControlSocket(std::move(worker), Sender::Front));
    Started process{static_cast<pid_t>(id), std::move(front), trouble};
    if (!late) return listener_.started(id, std::move(process));
    waiting.emplace(id, std::move(process));
  }
  void kill(Id id) override { killed.push_back(id); }

  void finishStart(Id id) {
    Started process = std::move(waiting.at(id));
    waiting.erase(id);
    listener_.started(id, std::move(process));
  }
  void ended(Id id) { listener_.ended(id, "exit status 0"); }

  ControlSocket& end(Id id) { return ends.at(id); }

  bool fails = false;
  bool late = false;
  std::string trouble;
  std::vector<std::string> started;
  std::vector<Id> killed;
  std::map<Id, ControlSocket> ends;
  std::map<Id, Started> waiting;

 private:
  Listener listener_;
};

inline std::shared_ptr<Settings> settingsWith(std::vector<ClientEntry> clients,
                                              Limits limits = {}) {
  auto settings = std::make_shared<Settings>();
  settings->nodeEid = std::string(32, 'e');
  settings->configuration.clients = std::move(clients);
  settings->configuration.limits = limits;
  return settings;
}

inline ClientEntry entryNamed(const std::string& name, bool mayRead = true, bool mayChange = true) {
  ClientEntry entry;
  entry.name = name;
  entry.mayRead = mayRead;
  entry.mayChange = mayChange;
  return entry;
}

}  // namespace HOQ::agent
