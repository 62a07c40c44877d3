#pragma once

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "NodeClient.h"

namespace grpc {
class Channel;
class CompletionQueue;
class Status;
}  // namespace grpc

namespace HOQ::transport {

class HaulStream;

/// A connection to a node. Any thread.
class Link {
 public:
  /// Takes the descriptor over.
  Link(std::string address, int descriptor, const NodeClientSettings& settings);
  ~Link();
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  const std::string& address() const { return address_; }
  const NodeClientSettings& settings() const { return settings_; }
  const std::shared_ptr<grpc::Channel>& channel() const { return channel_; }

  /// Whether the other side may still answer: neither has it hung up, nor was this one told so.
  bool stands() const;
  void noteLost() { lost_ = true; }
  void breakOff();

  /// Asks the node who it is, for the first time or again.
  NodeOutcome info(NodeInfo& info);
  /// What info() said last; false: nothing yet.
  bool knownInfo(NodeInfo& info) const;

  /// Streams of transfers that wait for the next one.
  std::shared_ptr<HaulStream> takeIdle();
  void putIdle(std::shared_ptr<HaulStream> stream);

 private:
  const std::string address_;
  const NodeClientSettings settings_;
  const int probe_;  // a second descriptor of the connection, to see a hang-up; or -1
  std::shared_ptr<grpc::Channel> channel_;
  std::atomic<bool> lost_ = false;
  mutable std::mutex mutex_;  // guards the rest
  std::vector<std::shared_ptr<HaulStream>> idle_;
  NodeInfo info_;
  bool knows_ = false;
};

using LinkPtr = std::shared_ptr<Link>;

/// What a call's status means, as text of one line that names the address.
NodeOutcome outcomeOf(const std::string& address, const grpc::Status& status);

/// The connections of a process, one to each address. Any thread.
class Links {
 public:
  Links(Dialer& dialer, const NodeClientSettings& settings)
      : dialer_(dialer), settings_(settings) {}
  ~Links();

  /// The connection to `address`, made if need be; null: see `outcome`. `fresh`, where not null:
  /// whether it was made just now.
  LinkPtr get(const std::string& address, NodeOutcome& outcome, bool* fresh = nullptr);
  void breakOff(const std::string& address);
  void forget(const std::string& address);

 private:
  struct Place {
    std::mutex mutex;  // held while dialling: one at a time for each address
    LinkPtr link;
  };
  std::shared_ptr<Place> place(const std::string& address);
  void keepPolling();
  void poll();

  Dialer& dialer_;
  const NodeClientSettings settings_;
  std::mutex mutex_;  // guards the rest
  std::map<std::string, std::shared_ptr<Place>> places_;
  std::condition_variable ending_;
  bool ends_ = false;
  std::thread poller_;
};

}  // namespace HOQ::transport
