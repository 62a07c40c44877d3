#include "NodeServer.h"

#include <fcntl.h>
#include <grpc/grpc.h>
#include <grpcpp/grpcpp.h>
#include <grpcpp/health_check_service_interface.h>
#include <unistd.h>

#include <mutex>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "GrpcSetup.h"
#include "server/Ledger.h"
#include "server/Pool.h"
#include "server/Services.h"
#include "tls/PlainName.h"

namespace HOQ::transport {
namespace {

using grpc::experimental::ExternalConnectionAcceptor;

/// Streams of a connection beyond the calls that are taken: for those that are refused, and for
/// questions that cost nothing.
constexpr int kSpareStreams = 64;

class GrpcNodeServer final : public NodeServer {
 public:
  explicit GrpcNodeServer(const NodeServerSettings& settings);
  ~GrpcNodeServer() override;

  void serve(int descriptor) override;
  bool drain(std::chrono::milliseconds limit) override;
  NodeServerCounters counters() const override { return ledger_->counters(); }

 private:
  void configure(grpc::ServerBuilder& builder) const;
  void shutDown();

  const std::shared_ptr<Ledger> ledger_;
  Pool operations_;
  Pool transfers_;
  std::vector<std::unique_ptr<grpc::Service>> services_;
  std::unique_ptr<ExternalConnectionAcceptor> acceptor_;
  std::unique_ptr<grpc::Server> server_;
  std::mutex mutex_;  // guards down_
  bool down_ = false;
};

/// gRPC is never taken down in a process that serves: to join its threads would take up to 10
/// seconds where one looks after a connection that broke with something unsent.
void keepGrpc() {
  static const bool kept = (grpc_init(), true);
  (void)kept;
}

int milliseconds(std::chrono::milliseconds time) { return static_cast<int>(time.count()); }

GrpcNodeServer::GrpcNodeServer(const NodeServerSettings& settings)
    : ledger_(std::make_shared<Ledger>(settings)),
      operations_(static_cast<std::size_t>(settings.threads)),
      transfers_(static_cast<std::size_t>(settings.requestsPerClient)) {
  grpc::EnableDefaultHealthCheckService(true);
  grpc::ServerBuilder builder;
  configure(builder);
  acceptor_ = builder.experimental().AddExternalConnectionAcceptor(
      grpc::ServerBuilder::experimental_type::ExternalConnectionType::FROM_FD,
      grpc::InsecureServerCredentials());
  services_.push_back(makeFilerService(ledger_, operations_));
  services_.push_back(makeHaulService(ledger_, transfers_));
  services_.push_back(makeAgentService(ledger_));
  services_.push_back(makeReflectionService());
  for (const auto& each : services_) builder.RegisterService(each.get());
  server_ = builder.BuildAndStart();
  if (!server_) throw std::runtime_error("the server of the node's calls cannot start");
}

void GrpcNodeServer::configure(grpc::ServerBuilder& builder) const {
  const NodeServerSettings& settings = ledger_->settings();
  const int message = static_cast<int>(settings.messageBytes);
  constexpr int kWindow = 1024 * 1024;     // what may be under way in a stream
  constexpr int kOftenestPing = 5 * 1000;  // of a client
  constexpr std::size_t kOverhead = 64 * 1024 * 1024;
  builder.SetMaxReceiveMessageSize(message);
  builder.SetMaxSendMessageSize(message);
  builder.AddChannelArgument(GRPC_ARG_MAX_CONCURRENT_STREAMS,
                             settings.requestsPerClient + kSpareStreams);
  builder.AddChannelArgument(GRPC_ARG_HTTP2_STREAM_LOOKAHEAD_BYTES, kWindow);
  builder.AddChannelArgument(GRPC_ARG_HTTP2_BDP_PROBE, 0);
  builder.AddChannelArgument(GRPC_ARG_HTTP2_MAX_FRAME_SIZE, kWindow);
  builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIME_MS, milliseconds(settings.keepalive));
  builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIMEOUT_MS,
                             milliseconds(settings.keepaliveTimeout));
  builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS, kOftenestPing);
  grpc::ResourceQuota quota("hoq");
  quota.Resize(kOverhead +
               static_cast<std::size_t>(settings.requestsPerClient) * settings.messageBytes);
  builder.SetResourceQuota(quota);
}

GrpcNodeServer::~GrpcNodeServer() {
  ledger_->goDown();
  ledger_->breakOffAll("The node goes down");
  shutDown();
}

/// Ends the connections. Waits for what cannot be broken off.
void GrpcNodeServer::shutDown() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    down_ = true;
  }
  server_->Shutdown(std::chrono::system_clock::now());
  server_->Wait();
}

void GrpcNodeServer::serve(int descriptor) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const int flags = ::fcntl(descriptor, F_GETFL, 0);
  if (down_ || flags < 0 || ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) != 0 ||
      ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0) {
    (void)::close(descriptor);  // nothing of it was used
    return;
  }
  ExternalConnectionAcceptor::NewConnectionParameters connection;
  connection.fd = descriptor;
  ledger_->countConnection();
  acceptor_->HandleNewConnection(&connection);
}

bool GrpcNodeServer::drain(std::chrono::milliseconds limit) {
  constexpr std::chrono::milliseconds kToBreakOff{2000};
  constexpr std::chrono::milliseconds kToReply{5000};
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    down_ = true;
  }
  ledger_->goDown();
  ledger_->endIdle();
  const bool clean = ledger_->awaitNone(limit);
  if (clean) {
    // The operations have ended; their last replies may still be on the way.
    server_->Shutdown(std::chrono::system_clock::now() + kToReply);
    return true;
  }
  ledger_->breakOffAll("The node goes down");
  (void)ledger_->awaitNone(kToBreakOff);  // some operations cannot be broken off
  return false;
}

}  // namespace

std::string callerAddress(const std::string& peer) {
  constexpr std::string_view kScheme = "unix-abstract:";
  if (peer.compare(0, kScheme.size(), kScheme) != 0) return "";
  return tls::addressInPlainName(std::string_view(peer).substr(kScheme.size()));
}

CallObserver::~CallObserver() = default;
NodeServer::NodeServer() = default;
NodeServer::~NodeServer() = default;

std::unique_ptr<NodeServer> NodeServer::create(const NodeServerSettings& settings) {
  if (!settings.client) throw std::invalid_argument("a server without a client");
  setUpGrpc();
  keepGrpc();
  return std::make_unique<GrpcNodeServer>(settings);
}

}  // namespace HOQ::transport
