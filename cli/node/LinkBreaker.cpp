#include "node/LinkBreaker.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "ExitStatus.h"

namespace HOQ::cli {

LinkBreaker::LinkBreaker(const Interruption& interruption, transport::NodeClient& client,
                         std::vector<std::string> addresses)
    : over_(::eventfd(0, EFD_CLOEXEC)) {
  if (over_ < 0) throw CommandError(kExitFailed, "cannot make an event descriptor");
  thread_ = std::thread([this, &interruption, &client, nodes = std::move(addresses)] {
    try {
      interruption.waitReadable(over_);
    } catch (const Interrupted&) {
      for (const std::string& node : nodes) client.breakOff(node);
    }
  });
}

LinkBreaker::~LinkBreaker() {
  const std::uint64_t one = 1;
  (void)!::write(over_, &one, sizeof one);  // it takes its first
  thread_.join();
  (void)::close(over_);  // nobody has it any more
}

}  // namespace HOQ::cli
