// Whatever a configuration's text is: it is taken or refused, with complaints of one line each.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "config/AddressCheck.h"
#include "config/ClientName.h"
#include "config/Configuration.h"
#include "config/PeerPattern.h"

using namespace HOQ::agent;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const ReadConfiguration read = parseConfiguration(text, "conf/hoqd.toml", {"files"});
  for (const std::string& problem : read.problems) {
    require(problem.compare(0, 15, "conf/hoqd.toml:") == 0);
    require(problem.find('\n') == std::string::npos);
  }
  if (!read.problems.empty()) return 0;
  const Configuration& taken = read.configuration;
  require(!taken.listen.empty());
  for (const std::string& address : taken.listen) require(badListenAddress(address).empty());
  require(taken.metrics.empty() || badMetricsAddress(taken.metrics).empty());
  for (const ClientEntry& client : taken.clients) {
    require(!client.name.empty() && badClientName(client.name).empty());
    require(client.runAs.empty() || client.runAs == "files");
    require(client.umask <= 0777 && client.roots.empty());
  }
  for (const PeerEntry& peer : taken.peers) require(badPeerPattern(peer.address).empty());
  require(taken.limits.connections >= 1 && taken.limits.messageBytes >= 512 * 1024);
  return 0;
}
