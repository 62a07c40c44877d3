#pragma once

#include <hoq/HOQAccessAgentPrototype.h>
#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQChannelMemory.h>
#include <hoq/HOQNodeIdentity.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace HOQ::test {

/// A node that is reached without a network: its stages run in threads of its own, so that error
/// texts cross as between processes, for the client that it takes its caller for.
///
/// What is public is set by the test before transfers start.
class MemoryNode {
 public:
  explicit MemoryNode(std::string name);

  const std::string name;
  HOQEID eid = newEID();
  HOQAccessChecker::ClientContextPtr client;  // at first with every right

  int connectCode = 0;       // not 0: connecting fails with it
  bool createsLate = false;  // create() is sent with the first stage, and fails there
  HOQChannelLimits limits;   // of the channels that lead to it

  /// When it runs what is sent whole: never, since it has no queues; at once; or only when the
  /// outcome is waited for.
  enum class Whole { kNever, kAtOnce, kLate };
  Whole whole = Whole::kNever;

  /// Asked before every call is sent (any thread): true cuts the way to the node, for good as far
  /// as this session goes.
  std::function<bool(const std::string& call)> cuts;

  /// What was asked of it, in order: "connect", "open NAME", "create", "channel", stages, "finish";
  /// and for each transfer of a queue "whole".
  std::vector<std::string> calls() const;
  /// How many sessions it has open, and transfers of queues under way.
  int sessions() const;

 private:
  friend class MemoryAgent;
  friend class MemorySession;
  friend class MemoryQueue;

  bool note(const std::string& call);  // false: cut
  void count(int change);

  mutable std::mutex mutex_;  // guards what follows
  std::vector<std::string> calls_;
  int sessions_ = 0;
};

/// Connects to such nodes. Registered as the process's transport for as long as it lives.
class MemoryTransport : public HOQTransport {
 public:
  MemoryTransport() { registerTransport(this); }
  ~MemoryTransport() override { registerTransport(nullptr); }

  /// The node that is reached as `target`. It stays where it is.
  MemoryNode& add(const std::string& target);

  HOQAccessAgentPtr createAgent() override;

 private:
  std::map<std::string, std::unique_ptr<MemoryNode>> nodes_;
};

}  // namespace HOQ::test
