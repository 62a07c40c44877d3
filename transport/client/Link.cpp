#include "client/Link.h"

#include <fcntl.h>
#include <grpcpp/create_channel_posix.h>
#include <grpcpp/grpcpp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <utility>

#include "client/HaulStream.h"

namespace HOQ::transport {
namespace {

constexpr int kWindow = 1024 * 1024;  // what may be under way in a stream
constexpr int kKeepaliveMs = 30 * 1000;
constexpr int kKeepaliveTimeoutMs = 20 * 1000;

/// How often somebody looks at connections on which nobody waits: more often than a ping's answer
/// is awaited, so that a node finds us alive while the caller is busy elsewhere.
constexpr std::chrono::seconds kPollInterval{5};

std::shared_ptr<grpc::Channel> makeChannel(int descriptor, const NodeClientSettings& settings) {
  grpc::ChannelArguments arguments;
  arguments.SetMaxReceiveMessageSize(static_cast<int>(settings.messageBytes));
  arguments.SetMaxSendMessageSize(static_cast<int>(settings.messageBytes));
  arguments.SetInt(GRPC_ARG_HTTP2_STREAM_LOOKAHEAD_BYTES, kWindow);
  arguments.SetInt(GRPC_ARG_HTTP2_BDP_PROBE, 0);
  arguments.SetInt(GRPC_ARG_HTTP2_MAX_FRAME_SIZE, kWindow);
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, kKeepaliveMs);
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, kKeepaliveTimeoutMs);
  return grpc::CreateCustomInsecureChannelFromFd("node", descriptor, arguments);
}

}  // namespace

Link::Link(std::string address, int descriptor, const NodeClientSettings& settings)
    : address_(std::move(address)),
      settings_(settings),
      probe_(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3)),
      channel_(makeChannel(descriptor, settings)) {}

Link::~Link() {
  idle_.clear();
  channel_.reset();
  if (probe_ >= 0) (void)::close(probe_);  // nothing is written to it
}

bool Link::stands() const {
  if (lost_) return false;
  if (probe_ < 0) return true;
  pollfd state{probe_, POLLRDHUP, 0};
  return ::poll(&state, 1, 0) <= 0 || (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0;
}

void Link::breakOff() {
  noteLost();
  if (probe_ >= 0) (void)::shutdown(probe_, SHUT_RDWR);  // it may have ended by itself
}

bool Link::knownInfo(NodeInfo& info) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (knows_) info = info_;
  return knows_;
}

std::shared_ptr<HaulStream> Link::takeIdle() {
  for (;;) {
    std::shared_ptr<HaulStream> stream;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (idle_.empty()) return nullptr;
      stream = std::move(idle_.back());
      idle_.pop_back();
    }
    if (stream->usable()) return stream;
  }
}

void Link::putIdle(std::shared_ptr<HaulStream> stream) {
  constexpr std::size_t kMost = 4;
  if (!stands()) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (idle_.size() < kMost) idle_.push_back(std::move(stream));
}

NodeOutcome outcomeOf(const std::string& address, const grpc::Status& status) {
  using grpc::StatusCode;
  const std::string node = "node \"" + address + "\"";
  const std::string& said = status.error_message();
  switch (status.error_code()) {
    case StatusCode::OK:
      return {};
    case StatusCode::RESOURCE_EXHAUSTED:
      if (said.find("larger than max") != std::string::npos)
        return {NodeFailure::kProtocol,
                "A message is larger than may pass between us and " + node + ": " + said};
      return {NodeFailure::kBusy, "Refused by " + node + ": " + said};
    case StatusCode::UNAVAILABLE:
    case StatusCode::CANCELLED:
    case StatusCode::ABORTED:
    case StatusCode::DEADLINE_EXCEEDED:
      return {NodeFailure::kLost, "Lost the connection to " + node + ": " + said};
    case StatusCode::UNIMPLEMENTED:
      return {NodeFailure::kProtocol, "What answers at \"" + address + "\" is no node: " + said};
    default:
      return {NodeFailure::kProtocol, "A request to " + node + " broke off: " + said};
  }
}

Links::~Links() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ends_ = true;
  }
  ending_.notify_all();
  if (poller_.joinable()) poller_.join();
}

std::shared_ptr<Links::Place> Links::place(const std::string& address) {
  const std::lock_guard<std::mutex> lock(mutex_);
  auto& found = places_[address];
  if (!found) found = std::make_shared<Place>();
  return found;
}

LinkPtr Links::get(const std::string& address, NodeOutcome& outcome, bool* fresh) {
  const auto at = place(address);
  const std::lock_guard<std::mutex> lock(at->mutex);
  outcome = NodeOutcome();
  const bool have = at->link && at->link->stands();
  if (fresh != nullptr) *fresh = !have;
  if (have) return at->link;
  at->link.reset();
  const Dialled dialled = dialer_.dial(address);
  if (dialled.descriptor < 0) {
    const NodeFailure failure =
        dialled.failure == NodeFailure::kNone ? NodeFailure::kUnreachable : dialled.failure;
    outcome = {failure, "Cannot connect to node \"" + address + "\": " + dialled.text};
    return nullptr;
  }
  at->link = std::make_shared<Link>(address, dialled.descriptor, settings_);
  keepPolling();
  return at->link;
}

void Links::breakOff(const std::string& address) {
  const auto at = place(address);
  const std::lock_guard<std::mutex> lock(at->mutex);
  if (at->link) at->link->breakOff();
}

void Links::forget(const std::string& address) {
  const auto at = place(address);
  LinkPtr last;  // dropped after the lock
  const std::lock_guard<std::mutex> lock(at->mutex);
  last = std::move(at->link);
}

void Links::keepPolling() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!poller_.joinable()) poller_ = std::thread([this] { poll(); });
}

/// Calls are polled for by the threads that wait for them, which costs least. This looks after the
/// rest.
void Links::poll() {
  constexpr std::chrono::milliseconds kLook{10};
  grpc::CompletionQueue nothing;
  std::unique_lock<std::mutex> lock(mutex_);
  while (!ending_.wait_for(lock, kPollInterval, [this] { return ends_; })) {
    lock.unlock();
    void* tag = nullptr;
    bool ok = false;
    (void)nothing.AsyncNext(&tag, &ok, std::chrono::system_clock::now() + kLook);  // none comes
    lock.lock();
  }
  nothing.Shutdown();
}

}  // namespace HOQ::transport
