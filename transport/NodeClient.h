#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <hoq/HOQAccessAgentPrototype.h>
#include <hoq/HOQEID.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQFiler.h>

namespace HOQ::transport {

/// How a node failed its caller, apart from what operations answer.
enum class NodeFailure {
  kNone,
  kUnreachable,  // no connection could be made
  kUntrusted,    // it does not trust us, or we do not trust it
  kRefused,      // the host or the node will not connect us
  kLost,         // the connection broke while a request was under way: its outcome is not known
  kBusy,         // the node has as many of our requests as it takes
  kProtocol,     // it did not answer as a node does, or what we sent is too large for it
};

/// What a Dialer brings: a descriptor, or why there is none.
struct Dialled {
  int descriptor = -1;  // a connected stream socket, close-on-exec; the taker closes it
  NodeFailure failure = NodeFailure::kNone;  // kUnreachable, kUntrusted or kRefused
  std::string text;                          // one line for the user, without the address
};

/// Makes connections: the host's part. Any thread, several at once; must not throw. Like the other
/// classes here it is whole in this header, since hosts load the library and do not link it.
class HOQ_EXPORT Dialer {
 public:
  virtual ~Dialer() = default;
  virtual Dialled dial(const std::string& address) = 0;
};

struct NodeClientSettings {
  std::size_t messageBytes = 4 * 1024 * 1024;  // the largest message taken or sent
  std::chrono::milliseconds answer{60000};     // how long Agent calls may take
};

/// Who a node is, and who it takes us for.
struct NodeInfo {
  std::string version;
  HOQEID eid;
  std::string client;  // our name there
  bool mayRead = false;
  bool mayChange = false;
  std::string user;  // whom our requests run as there; empty: it does not say
  std::chrono::system_clock::time_point clock;  // the node's, when it answered
  std::chrono::nanoseconds roundTrip{0};        // of this question and its answer
};

/// What came of a request to a node itself.
struct NodeOutcome {
  NodeFailure failure = NodeFailure::kNone;
  std::string text;  // one line that names the address; empty: it went well
};

/// A Filer whose requests run on a node. It behaves as the node's own does: the same events in the
/// same order, the same records, codes and current error text. What goes wrong on the way is told
/// in an error record of code -1, and the request returns -1.
///
/// Upload and download records are used by the calling thread; an upload's are read as fast as the
/// node takes them, so their start(), data() and close() may run ahead of the node's progress. The
/// control handler is asked about every 100 ms. The delegate is not called.
class HOQ_EXPORT RemoteFiler : public HOQFiler {
 public:
  ~RemoteFiler() override = default;

  /// Of the last request. Other than kNone: it returned -1 because of that.
  virtual NodeFailure failure() const = 0;
};

/// This process's way to nodes. Keeps one connection to each address, made when first needed and
/// made anew when it broke. Any thread; the Filers it makes are used by one thread at a time and
/// must be gone before it.
class HOQ_EXPORT NodeClient {
 public:
  virtual ~NodeClient() = default;

  /// A Filer on the node. Connects with the first request.
  virtual boost::shared_ptr<RemoteFiler> filer(const std::string& address) = 0;

  /// Asks the node who it is.
  virtual NodeOutcome info(const std::string& address, NodeInfo& info) = 0;

  /// For HOQTransport::registerTransport(): the ends of transfers on nodes. Owned by this client.
  virtual HOQTransport& transport() = 0;

  /// Breaks the connection to `address`: whatever waits for an answer of the node fails, and the
  /// next request connects anew.
  virtual void breakOff(const std::string& address) = 0;

  /// Forgets the connection to `address`, which ends when nothing uses it any more.
  virtual void forget(const std::string& address) = 0;
};

/// The library's entry point for processes that load it when they need it: dlsym() of
/// kNewNodeClient. The dialer is not owned and outlives the client, which the caller deletes. Null
/// when memory ran out.
using NewNodeClient = NodeClient* (*)(Dialer* dialer, const NodeClientSettings* settings);
constexpr char kNewNodeClient[] = "hoqNewNodeClient";

}  // namespace HOQ::transport

extern "C" {
/// `settings` null: the default ones.
HOQ_EXPORT HOQ::transport::NodeClient* hoqNewNodeClient(
    HOQ::transport::Dialer* dialer, const HOQ::transport::NodeClientSettings* settings);
}
