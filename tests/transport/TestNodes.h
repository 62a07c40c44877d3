#pragma once

#include <gtest/gtest.h>
#include <hoq/HOQAccessChecker.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "transport/NodeClient.h"
#include "transport/NodeServer.h"

namespace HOQ::test {

/// What a server's observer was told. Any thread.
class Calls : public transport::CallObserver {
 public:
  void ended(const transport::CallRecord& call) override;
  std::vector<transport::CallRecord> all() const;
  /// Waits until `count` calls have ended.
  std::vector<transport::CallRecord> await(std::size_t count);

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<transport::CallRecord> calls_;
};

transport::NodeServerSettings nodeSettings(bool mayRead = true, bool mayChange = true);

/// Nodes in this process, each a server with an identifier of its own, and the way to them over
/// socket pairs. Any thread dials.
class TestNodes : public transport::Dialer {
 public:
  ~TestNodes() override;

  /// A node that is dialled as `address`.
  transport::NodeServer& add(const std::string& address,
                             transport::NodeServerSettings settings = nodeSettings());
  transport::NodeServer& node(const std::string& address) { return *nodes_.at(address); }
  void remove(const std::string& address) { nodes_.erase(address); }

  /// Answers instead of the nodes, while it is set.
  std::function<transport::Dialled(const std::string& address)> instead;

  transport::Dialled dial(const std::string& address) override;
  int dialled() const { return dialled_; }
  /// Shuts every connection down that was dialled so far, as a cut cable would.
  void cut();

 private:
  std::map<std::string, std::unique_ptr<transport::NodeServer>> nodes_;
  std::vector<int> ends_;  // second descriptors of the connections
  int dialled_ = 0;
};

/// A connected pair of stream sockets.
struct SocketPair {
  SocketPair();
  int here = -1;
  int there = -1;
};

std::unique_ptr<transport::NodeClient> newClient(transport::Dialer& dialer,
                                                 std::size_t messageBytes = 4 * 1024 * 1024);

}  // namespace HOQ::test
