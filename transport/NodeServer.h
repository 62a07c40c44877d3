#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQEID.h>
#include <hoq/HOQExport.h>

namespace HOQ::transport {

/// One call that ended, or one transfer of a stream of them: what an audit or a counter wants.
struct CallRecord {
  std::string method;              // "Remove", "Upload", …; of a transfer its functional's name
  bool changes = false;            // it needed the right to change
  std::string client;              // the name of the client context
  std::string askedBy;             // for whom the client asked; empty: for itself
  std::string cwd;                 // the request's working directory
  std::vector<std::string> paths;  // what it was about: the first 16, and texts of a transfer
  std::size_t pathCount = 0;       // how many there were
  std::string destination;         // of copies, moves and links; may be empty
  int code = 0;                    // the result; -1 where it broke off
  std::string trouble;             // why it broke off or was refused; empty: it ran to its end
  std::uint64_t bytesIn = 0;       // contents received
  std::uint64_t bytesOut = 0;      // contents sent
  std::chrono::microseconds took{0};
  std::string address;  // where the connection came from; empty: it was not told
};

/// Hears of every call that ended. Any thread, several at once; must neither block for long nor
/// throw.
class HOQ_EXPORT CallObserver {
 public:
  virtual ~CallObserver();
  virtual void ended(const CallRecord& call) = 0;
};

struct NodeServerSettings {
  HOQAccessChecker::ClientContextPtr client;   // whom every connection belongs to; never empty
  HOQEID eid;                                  // reported as this node's; invalid: nodeEID()
  std::size_t messageBytes = 4 * 1024 * 1024;  // the largest message taken or sent
  int requestsPerClient = 64;                  // calls under way at once, waiting ones included
  int threads = 16;                            // that run operations; made when first needed
  std::chrono::milliseconds idle{60000};       // a client that takes and sends nothing for this
                                               // long loses the call that waits for it
  std::chrono::milliseconds keepalive{30000};  // silence before a ping while calls are under way
  std::chrono::milliseconds keepaliveTimeout{20000};  // and how long its answer may take
  CallObserver* observer = nullptr;                   // not owned, outlives the server
};

/// What a server has done. Figures only grow, except the last three.
struct NodeServerCounters {
  std::map<std::pair<std::string, int>, std::uint64_t> calls;  // ended, by method and code
  std::uint64_t refused = 0;      // calls that were not begun since too many were under way
  std::uint64_t bytesIn = 0;      // contents: data of transfers and uploads
  std::uint64_t bytesOut = 0;     // contents: data of transfers and downloads
  std::uint64_t connections = 0;  // handed to serve()
  int active = 0;                 // operations and transfers that run
  int waiting = 0;                // calls that wait for a thread
  int streams = 0;                // open transfer streams, idle ones included
};

/// Serves the node's file manager and its ends of transfers to one client, over connected
/// descriptors that others have opened and checked. Any thread.
///
/// Filers and transfers' ends come from the framework's registries, so the plugin must be loaded.
/// Operations run on the server's own threads, each for the settings' client.
class HOQ_EXPORT NodeServer {
 public:
  /// Never null; throws std::runtime_error when the server cannot start, std::invalid_argument
  /// without a client.
  static std::unique_ptr<NodeServer> create(const NodeServerSettings& settings);

  /// Ends every call and waits for what runs; operations that cannot be broken off are waited for.
  virtual ~NodeServer();

  /// Takes the descriptor of a connected stream socket over, and serves it until either side
  /// closes it. After drain() it is closed at once.
  virtual void serve(int descriptor) = 0;

  /// Takes no new calls, waits for those under way until `limit` has passed, then breaks them off
  /// and waits for that. True when none had to be broken off. Once.
  virtual bool drain(std::chrono::milliseconds limit) = 0;

  virtual NodeServerCounters counters() const = 0;

 protected:
  NodeServer();
};

}  // namespace HOQ::transport
