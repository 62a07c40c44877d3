#include "support/MemoryTransport.h"

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>
#include <hoq/HOQStageService.h>

#include <deque>
#include <optional>
#include <thread>
#include <utility>

namespace HOQ::test {
namespace {

// Stands for the node's end of a channel until the node is handed it.
class StandIn final : public HOQChannelEndPrototype {
 public:
  StandIn(HOQChannelPtr channel, HOQChannelEndPtr end)
      : channel_(std::move(channel)), end_(std::move(end)) {}

  HOQChannelEndPtr take() { return std::exchange(end_, nullptr); }

  int read(void*, std::uint64_t, std::uint64_t*) override { return notHere(); }
  int write(const void*, std::uint64_t, std::uint64_t*) override { return notHere(); }
  void close() override { notHere(); }
  bool stands() const override { return channel_->failure().empty(); }
  void giveUp(const std::string& text) override { channel_->giveUp(text); }
  std::string failure() const override { return channel_->failure(); }

 private:
  static int notHere() {
    setErrorMessage("The node's end of a channel was used on this side");
    return -1;
  }

  const HOQChannelPtr channel_;  // holds no ends
  HOQChannelEndPtr end_;
};

class SessionChannel final : public HOQChannelPrototype {
 public:
  SessionChannel(const HOQChannelPtr& channel, bool nodeSends) : channel_(channel) {
    near_ = nodeSends ? channel->getDestinationEnd() : channel->getSourceEnd();
    far_.reset(
        new StandIn(channel, nodeSends ? channel->getSourceEnd() : channel->getDestinationEnd()));
    source_ = nodeSends ? far_ : near_;
    destination_ = nodeSends ? near_ : far_;
    channel->release();
  }

  HOQChannelEndPtr getSourceEnd() override { return source_; }
  HOQChannelEndPtr getDestinationEnd() override { return destination_; }
  void release() override {
    for (HOQChannelEndPtr* end : {&near_, &far_, &source_, &destination_}) end->reset();
  }
  void giveUp(const std::string& text) override { channel_->giveUp(text); }
  std::string failure() override { return channel_->failure(); }

 private:
  const HOQChannelPtr channel_;
  HOQChannelEndPtr near_;
  HOQChannelEndPtr far_;
  HOQChannelEndPtr source_;
  HOQChannelEndPtr destination_;
};

}  // namespace

class MemorySession final : public HOQStageSession {
 public:
  MemorySession(MemoryNode& node, std::string functional)
      : node_(node), functional_(std::move(functional)), service_(new HOQStageService) {
    node_.count(1);
  }
  ~MemorySession() override {
    end();
    node_.count(-1);
  }

  int create(const HOQMessage& params) override {
    params_ = params;
    return node_.createsLate ? 0 : sendCreate();
  }
  int call(const std::string& stage) override { return callWithHandle(stage, nullptr); }
  int callWithHandle(const std::string& stage, HOQChannelEndPtr end) override;
  int finish() override;
  HOQConnectorPtr connector() override;

  HOQChannelPtr connect();

 private:
  template <class Call>
  int onNode(const std::string& name, Call call);
  int sendCreate();
  void end();

  MemoryNode& node_;
  const std::string functional_;
  std::optional<HOQMessage> params_;  // not sent yet
  std::unique_ptr<HOQStageService> service_;
  HOQChannelPtr channel_;  // holds no ends
  bool finished_ = false;
};

// Runs `call` in a thread of the node, and brings its code and error text back.
template <class Call>
int MemorySession::onNode(const std::string& name, Call call) {
  if (!service_ || !node_.note(name)) {
    const std::string text = "The way to " + node_.name + " is cut";
    if (channel_) channel_->giveUp(text);
    end();
    setErrorMessage("%s", text);
    return -1;
  }
  int code = -1;
  std::string text;
  std::thread stage([&] {
    const HOQAccessChecker::Scope scope(node_.client);
    code = call();
    text = getErrorMessage();
  });
  stage.join();
  if (!text.empty()) setErrorMessage("%s", text);
  return code;
}

int MemorySession::sendCreate() {
  HOQMessage params = std::move(*params_);
  params_.reset();
  return onNode("create", [&] { return service_->create(functional_, params); });
}

int MemorySession::callWithHandle(const std::string& stage, HOQChannelEndPtr end) {
  if (params_) {
    const int code = sendCreate();
    if (code != 0) return code;
  }
  HOQChannelEndPtr far;
  if (end) {
    auto* const standIn = dynamic_cast<StandIn*>(end.get());
    far = standIn != nullptr ? standIn->take() : HOQChannelEndPtr();
    if (!far) {
      setErrorMessage("The end of a channel does not lead to %s", node_.name);
      return -1;
    }
  }
  return onNode(stage, [&] { return service_->call(stage, std::move(far)); });
}

int MemorySession::finish() {
  if (std::exchange(finished_, true)) return 0;
  return onNode("finish", [&] { return service_->finish(); });
}

HOQChannelPtr MemorySession::connect() {
  if (!node_.note("channel")) {
    setErrorMessage("The way to %s is cut", node_.name);
    return HOQChannelPtr();
  }
  channel_ = newChannelMemory(node_.limits);
  return HOQChannelPtr(new SessionChannel(channel_, functional_ == "hoqfile_serializer"));
}

HOQConnectorPtr MemorySession::connector() {
  // Keeps the session no longer than the driver does.
  class Connector final : public HOQConnectorPrototype {
   public:
    explicit Connector(MemorySession* session) : session_(session) {}
    HOQChannelPtr connect(const HOQConnectionInfo&) override { return session_->connect(); }

   private:
    const boost::intrusive_ptr<MemorySession> session_;
  };
  return HOQConnectorPtr(new Connector(this));
}

// What the node does when its client is gone.
void MemorySession::end() {
  if (!service_) return;
  std::thread([this] { service_.reset(); }).join();
}

class MemoryQueue final : public HOQHaulQueue {
 public:
  MemoryQueue(MemoryNode& node, std::string functional)
      : node_(node), functional_(std::move(functional)) {}
  ~MemoryQueue() override { node_.count(-underWay_); }

  int send(const HOQMessage& params, std::optional<std::string> contents) override {
    node_.count(1);
    ++underWay_;
    sent_.push_back({params, std::move(contents)});
    if (node_.whole == MemoryNode::Whole::kAtOnce) runOldest();
    return 0;
  }

  HOQHaulOutcome await() override {
    if (outcomes_.empty()) runOldest();
    HOQHaulOutcome outcome = std::move(outcomes_.front());
    outcomes_.pop_front();
    node_.count(-1);
    --underWay_;
    return outcome;
  }

 private:
  struct Sent {
    HOQMessage params;
    std::optional<std::string> contents;
  };

  void runOldest() {
    Sent sent = std::move(sent_.front());
    sent_.pop_front();
    if (failed_) return;  // none is begun behind one that fails
    HOQHaulOutcome& outcome = outcomes_.emplace_back();
    if (node_.note("whole"))
      std::thread([&] { outcome = run(sent); }).join();
    else
      outcome = {-1, "wait_copying_finish", "The way to " + node_.name + " is cut"};
    failed_ = outcome.code != 0;
  }

  HOQHaulOutcome run(Sent& sent) const {
    const HOQAccessChecker::Scope scope(node_.client);
    HOQStageService service;
    const HOQChannelPtr channel = newChannelMemory();
    const HOQChannelEndPtr near = channel->getSourceEnd();
    std::uint64_t written = 0;
    if (sent.contents) (void)near->write(sent.contents->data(), sent.contents->size(), &written);
    HOQHaulOutcome outcome;
    const auto judge = [&](const char* stage, int code) {
      if (outcome.code == 0 && code != 0) outcome = {code, stage, getErrorMessage()};
    };
    judge("start_copying", service.create(functional_, sent.params));
    if (outcome.code == 0)
      judge("start_copying", service.call("start_copying", channel->getDestinationEnd()));
    if (outcome.code == 0 && sent.contents)
      judge("wait_copying_finish", service.call("wait_copying_finish", nullptr));
    judge("finish", service.finish());
    channel->release();
    return outcome;
  }

  MemoryNode& node_;
  const std::string functional_;
  std::deque<Sent> sent_;
  std::deque<HOQHaulOutcome> outcomes_;
  bool failed_ = false;
  int underWay_ = 0;
};

class MemoryAgent final : public HOQAccessAgentPrototype {
 public:
  using Find = std::function<MemoryNode*(const std::string& target)>;

  explicit MemoryAgent(Find find) : find_(std::move(find)) {}

  int initializeSync(const HOQConnectionInfo& connection, HOQRequestHandlerPtr) override {
    MemoryNode* const node = find_(connection.target);
    if (node == nullptr || !node->note("connect")) {
      setErrorMessage("%s cannot be reached", connection.target);
      return kNodeUnreachable;
    }
    if (node->connectCode != 0) {
      setErrorMessage("%s does not let us in", connection.target);
      return node->connectCode;
    }
    node_ = node;
    return 0;
  }

  HOQEID getEID() const override { return node_ != nullptr ? node_->eid : HOQEID::EID_INVALID; }

  HOQStageSessionPtr openSession(const std::string& name) override {
    if (node_ != nullptr && node_->note("open " + name))
      return HOQStageSessionPtr(new MemorySession(*node_, name));
    setErrorMessage("The way to the node is cut");
    return HOQStageSessionPtr();
  }

  HOQHaulQueuePtr openQueue(const std::string& name) override {
    if (node_ == nullptr || node_->whole == MemoryNode::Whole::kNever) return HOQHaulQueuePtr();
    return HOQHaulQueuePtr(new MemoryQueue(*node_, name));
  }

 private:
  const Find find_;
  MemoryNode* node_ = nullptr;  // not owned, the transport's
};

MemoryNode::MemoryNode(std::string nodeName)
    : name(std::move(nodeName)), client(new HOQClientContext("caller", true, true)) {}

bool MemoryNode::note(const std::string& call) {
  if (cuts && cuts(call)) return false;
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(call);
  return true;
}

void MemoryNode::count(int change) {
  const std::lock_guard<std::mutex> lock(mutex_);
  sessions_ += change;
}

std::vector<std::string> MemoryNode::calls() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

int MemoryNode::sessions() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return sessions_;
}

MemoryNode& MemoryTransport::add(const std::string& target) {
  std::unique_ptr<MemoryNode>& node = nodes_[target];
  node = std::make_unique<MemoryNode>(target);
  return *node;
}

HOQAccessAgentPtr MemoryTransport::createAgent() {
  return HOQAccessAgentPtr(new MemoryAgent([this](const std::string& target) {
    const auto found = nodes_.find(target);
    return found == nodes_.end() ? nullptr : found->second.get();
  }));
}

}  // namespace HOQ::test
