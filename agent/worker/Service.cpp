#include "worker/Service.h"

#include <malloc.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <string>
#include <utility>

#include <hoq/HOQAccessAgentPrototype.h>
#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQChannelMemory.h>
#include <hoq/HOQContentsEngine.h>
#include <hoq/HOQNodeIdentity.h>

#include "worker/Plugins.h"

namespace HOQ::agent {
namespace {

/// How old what the front knows of the counters may be.
constexpr int kReportMs = 1000;

/// For what runs when the front wants us to end, or is gone: then the system ends us.
constexpr unsigned kEndSeconds = 7;

}  // namespace

Service::Service(ControlClient& control) : control_(control), dialer_(control), reports_(control) {}

Service::~Service() {
  (void)::alarm(kEndSeconds);
  control_.giveUp();
  if (draining_.joinable()) draining_.join();
  server_.reset();
  HOQTransport::registerTransport(nullptr);
}

bool Service::start(const Welcome& welcome) try {
  setNodeEID(eidFromText(welcome.nodeEid));
  HOQContentsEngine::choose(
      HOQContentsEngine::named(welcome.engine).value_or(HOQContentsEngine::kBlocks));
  if (const std::string why = loadPlugins(plugins_, welcome.pluginsFolder); !why.empty()) {
    control_.log(LogLevel::Error, why);
    return false;
  }
  drained_.reset(::eventfd(0, EFD_CLOEXEC));
  const std::chrono::seconds idle(welcome.idleSeconds);
  HOQChannelLimits channels = channelLimits();
  channels.idle = idle;
  setChannelLimits(channels);
  transport::NodeClientSettings client;
  client.messageBytes = welcome.messageBytes;
  client.answer = idle;
  nodes_.reset(hoqNewNodeClient(&dialer_, &client));
  if (!nodes_ || !drained_) {
    control_.log(LogLevel::Error, "out of memory or descriptors");
    return false;
  }
  HOQTransport::registerTransport(&nodes_->transport());
  transport::NodeServerSettings server;
  server.client = new HOQClientContext(welcome.client, welcome.mayRead, welcome.mayChange);
  server.eid = eidFromText(welcome.nodeEid);
  server.messageBytes = welcome.messageBytes;
  server.requestsPerClient = static_cast<int>(welcome.requests);
  server.idle = idle;
  server.observer = &reports_;
  server_ = transport::NodeServer::create(server);
  control_.send(Ready());
  return true;
} catch (const std::exception& error) {
  control_.log(LogLevel::Error, error.what());
  return false;
}

/// False when it is time to end.
bool Service::waitForMessage() {
  pollfd waiting[] = {{control_.fd(), POLLIN, 0}, {drained_.get(), POLLIN, 0}};
  for (;;) {
    const int ready = ::poll(waiting, 2, kReportMs);
    report();
    if (waiting[1].revents) return false;
    if (ready > 0 && waiting[0].revents) return true;
  }
}

/// What a large answer took goes back to the system as soon as nothing is under way.
void Service::report() {
  const transport::NodeServerCounters counters = server_->counters();
  const bool isNews = reports_.sendCounters(counters);
  if (isNews && counters.active == 0 && counters.waiting == 0) (void)::malloc_trim(0);
}

void Service::run() {
  while (waitForMessage()) {
    ControlClient::Received received = control_.receive();
    if (received.closed) return breakOff();
    if (received.message) obey(*received.message, std::move(received.descriptor));
  }
}

/// The front has ended its direction, perhaps only that: it may still hear what became of calls.
void Service::breakOff() {
  (void)::alarm(kEndSeconds);
  control_.giveUp();
  if (!draining_.joinable()) (void)server_->drain(std::chrono::milliseconds(0));
  (void)reports_.sendCounters(server_->counters());  // what there is to say
}

void Service::obey(const Message& message, tls::UniqueFd descriptor) {
  if (std::holds_alternative<Connection>(message)) {
    server_->serve(descriptor.release());
  } else if (const auto* order = std::get_if<Drain>(&message)) {
    drain(*order);
  }
}

void Service::drain(const Drain& order) {
  if (draining_.joinable()) return;
  // In a thread of its own: what is under way may still need answers from the front.
  draining_ = std::thread([this, limit = std::chrono::seconds(order.seconds)] {
    if (!server_->drain(limit)) {
      control_.log(LogLevel::Warning,
                   "calls were broken off after " + std::to_string(limit.count()) + " s");
    }
    const std::uint64_t one = 1;
    (void)!::write(drained_.get(), &one, sizeof one);  // an eventfd takes its first
  });
}

}  // namespace HOQ::agent
