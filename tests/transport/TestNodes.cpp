#include "transport/TestNodes.h"

#include <fcntl.h>
#include <hoq/HOQNodeIdentity.h>

#include <utility>

namespace HOQ::test {

using namespace transport;

void Calls::ended(const CallRecord& call) {
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(call);
  changed_.notify_all();
}

std::vector<CallRecord> Calls::all() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

std::vector<CallRecord> Calls::await(std::size_t count) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return calls_.size() >= count; });
  return calls_;
}

NodeServerSettings nodeSettings(bool mayRead, bool mayChange) {
  NodeServerSettings settings;
  settings.client.reset(new HOQClientContext("a test's client", mayRead, mayChange));
  settings.eid = newEID();
  return settings;
}

TestNodes::~TestNodes() {
  nodes_.clear();
  for (const int each : ends_) (void)::close(each);
}

NodeServer& TestNodes::add(const std::string& address, NodeServerSettings settings) {
  return *(nodes_[address] = NodeServer::create(settings));
}

Dialled TestNodes::dial(const std::string& address) {
  ++dialled_;
  if (instead) return instead(address);
  const auto found = nodes_.find(address);
  if (found == nodes_.end()) return {-1, NodeFailure::kUnreachable, "nobody is there"};
  const SocketPair pair;
  ends_.push_back(::fcntl(pair.here, F_DUPFD_CLOEXEC, 3));
  found->second->serve(pair.there);
  return {pair.here, NodeFailure::kNone, ""};
}

void TestNodes::cut() {
  for (const int each : ends_) (void)::shutdown(each, SHUT_RDWR);
}

SocketPair::SocketPair() {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    throw std::runtime_error("no socket pair");
  here = ends[0];
  there = ends[1];
}

std::unique_ptr<NodeClient> newClient(Dialer& dialer, std::size_t messageBytes) {
  NodeClientSettings settings;
  settings.messageBytes = messageBytes;
  return std::unique_ptr<NodeClient>(hoqNewNodeClient(&dialer, &settings));
}

}  // namespace HOQ::test
