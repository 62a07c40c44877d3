#pragma once

#include <memory>
#include <string>

#include "NodeClient.h"

namespace HOQ::cli {

/// The files that the way to a node needs; empty for UNIX sockets.
struct ConnectionFiles {
  std::string authorities;
  std::string certificate;
  std::string key;
};

/// What this program reaches nodes with: libhoqtransport, loaded when the first command needs it,
/// since starting a program that does not is faster without. While it lives, this process's own
/// transfers reach nodes as well. One at a time.
class Network {
 public:
  /// Throws CommandError(kExitFailed) when the library cannot be loaded.
  explicit Network(const ConnectionFiles& files);
  ~Network();
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;

  transport::NodeClient& client() { return *client_; }

 private:
  std::unique_ptr<transport::Dialer> dialer_;
  std::unique_ptr<transport::NodeClient> client_;
};

}  // namespace HOQ::cli
