#pragma once

#include <string>
#include <thread>
#include <vector>

#include "NodeClient.h"
#include "contents/Interruption.h"

namespace HOQ::cli {

/// While this lives, a signal that `interruption` notes breaks the connections to the nodes of
/// `addresses`, so that a request that waits for one of them comes back.
class LinkBreaker {
 public:
  /// Neither `interruption` nor `client` is owned. Throws CommandError(kExitFailed).
  LinkBreaker(const Interruption& interruption, transport::NodeClient& client,
              std::vector<std::string> addresses);
  ~LinkBreaker();
  LinkBreaker(const LinkBreaker&) = delete;
  LinkBreaker& operator=(const LinkBreaker&) = delete;

 private:
  const int over_;  // readable when this ends
  std::thread thread_;
};

}  // namespace HOQ::cli
