#include "front/Connections.h"

#include <fcntl.h>
#include <spdlog/spdlog.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "front/Logging.h"
#include "tls/PlainName.h"
#include "tls/Sockets.h"

namespace HOQ::agent {
namespace {

constexpr std::chrono::seconds kBetweenRefusalsTold{1};
constexpr std::chrono::minutes kBetweenClockLooks{1};

const char* reasonOf(Admission::Answer answer) {
  return answer == Admission::Answer::TooMany ? "connections" : "connections_per_peer";
}

/// What went wrong with a connection; some texts begin with its address already.
std::string about(const std::string& address, const std::string& text) {
  return text.compare(0, address.size(), address) == 0 ? text : address + ": " + text;
}

/// Whether both name the same client with the same rights, or both none.
bool same(const ClientEntry* one, const ClientEntry* other) {
  return one && other ? *one == *other : one == other;
}

}  // namespace

Connections::~Connections() {
  for (const auto& [id, link] : links_) {
    if (link.kept) loop_.forget(link.kept.get());
    loop_.cancel(link.expiry);
  }
}

void Connections::refuse(const char* reason, const std::string& address) {
  ++tally_.refused[reason];
  // A flood is counted whole, and told once in a while: strangers do not fill the log.
  const auto now = std::chrono::steady_clock::now();
  if (now < nextRefusalTold_) return;
  nextRefusalTold_ = now + kBetweenRefusalsTold;
  spdlog::warn("{}: refused: {}", address, reason);
}

void Connections::take(tls::UniqueFd socket, bool isUnix) {
  const std::string host = tls::remoteHost(socket.get());
  const std::string address = tls::remoteAddress(socket.get());
  if (stopped_) return;
  const Admission::Answer answer = admission_.admit(host);
  if (answer != Admission::Answer::Admitted) return refuse(reasonOf(answer), address);
  ++tally_.accepted[isUnix ? "unix" : "tls"];
  const Id id = ++lastId_;
  Link& link = links_[id];
  link.host = host;
  link.address = address;
  link.settings = settings_;
  isUnix ? takeUnix(id, std::move(socket)) : takeTls(id, std::move(socket));
}

void Connections::takeTls(Id id, tls::UniqueFd socket) {
  // The pump's threads hand their news to the loop, where the connection may be gone meanwhile.
  const auto ready = [this, id](tls::Result<tls::TlsConnection> result) {
    auto news = std::make_shared<tls::Result<tls::TlsConnection>>(std::move(result));
    loop_.post([this, id, news] { shookHands(id, std::move(*news)); });
  };
  const auto closed = [this, id](tls::ConnectionId, const tls::Error& why) {
    loop_.post([this, id, why] {
      const auto found = links_.find(id);
      if (found == links_.end()) return;
      const std::string text = why.text.empty() ? "ended" : why.text;
      spdlog::info("{}", printable(about(found->second.address, text)));
      ended(id);
    });
  };
  links_[id].pumped = pump_->accept(std::move(socket), settings_->tls, ready, closed);
}

void Connections::shookHands(Id id, tls::Result<tls::TlsConnection> result) {
  const auto found = links_.find(id);
  if (found == links_.end()) return;
  Link& link = found->second;
  if (!result) {
    ++tally_.handshakes[tls::nameOf(result.error().kind)];
    spdlog::info("no handshake: {}", printable(about(link.address, result.error().text)));
    return ended(id);
  }
  link.identity.certificate = result->peer;
  // A reload may have come between the handshake's begin and its end.
  if (!isTrusted(link)) return close(id, "its certificate is not trusted any more");
  if (!handOver(id, std::move(result->plain))) return close(id, "no worker");
  awaitExpiry(id);
}

/// Looks at the clock once in a while: it may be set meanwhile.
void Connections::awaitExpiry(Id id) {
  using std::chrono::ceil, std::chrono::milliseconds, std::chrono::system_clock;
  Link& link = links_.at(id);
  const auto end = system_clock::from_time_t(link.identity.certificate.notAfter + 1);
  const auto left = end - system_clock::now();
  const auto until = std::clamp<system_clock::duration>(left, milliseconds(0), kBetweenClockLooks);
  link.expiry = loop_.after(ceil<milliseconds>(until), [this, id, end] {
    if (system_clock::now() < end) return awaitExpiry(id);
    close(id, "its certificate has expired");
  });
}

void Connections::takeUnix(Id id, tls::UniqueFd socket) {
  Link& link = links_[id];
  // A name that tells an address is the pump's to give.
  if (!tls::addressBehind(socket.get()).empty()) {
    refuse("name", link.address);
    return ended(id);
  }
  const auto peer = tls::unixPeer(socket.get());
  link.kept.reset(::fcntl(socket.get(), F_DUPFD_CLOEXEC, 0));
  if (!peer || !link.kept) {
    refuse("descriptors", link.address);
    return ended(id);
  }
  link.identity.uid = peer->uid;
  loop_.watch(link.kept.get(), 0, [this, id](std::uint32_t) {  // its end is always told
    spdlog::info("{}: ended", links_[id].address);
    ended(id);
  });
  if (!handOver(id, std::move(socket))) close(id, "no worker");
}

bool Connections::handOver(Id id, tls::UniqueFd descriptor) {
  Link& link = links_[id];
  link.settings = settings_;
  link.entry = entryOf(settings_->configuration.clients, link.identity);
  Worker* worker = workers_.find(*settings_, link.entry);
  if (!worker || !worker->send(Connection{}, std::move(descriptor))) {
    refuse("worker", link.address);
    return false;
  }
  link.identified = true;
  link.worker = worker->id();
  workers_.attach(*worker, id);
  const std::string& fingerprint = link.identity.certificate.fingerprint;
  spdlog::info("{}: {} is {}{}{}", link.address, printable(link.identity.text()),
               link.entry ? link.entry->name : "no client of ours",
               fingerprint.empty() ? "" : ", certificate ", fingerprint);
  return true;
}

bool Connections::isTrusted(const Link& link) const {
  if (link.identity.uid) return true;
  return settings_->tls && settings_->authorities == link.settings->authorities &&
         !settings_->tls->isRevoked(link.identity.certificate.fingerprint);
}

void Connections::apply(SettingsPtr settings) {
  settings_ = std::move(settings);
  const Limits& limits = settings_->configuration.limits;
  admission_.setLimits(limits.connections, limits.connectionsPerPeer);
  std::vector<std::pair<Id, const char*>> closing;
  for (const auto& [id, link] : links_) {
    if (!link.identified) continue;
    const ClientEntry* entry = entryOf(settings_->configuration.clients, link.identity);
    if (!isTrusted(link)) {
      closing.emplace_back(id, "its certificate is not trusted any more");
    } else if (!same(entry, link.entry)) {
      closing.emplace_back(id, "its entry changed");
    }
  }
  for (const auto& [id, reason] : closing) close(id, reason);
}

void Connections::workerGone(Worker& worker) {
  for (const Id id : worker.connections) {
    const auto found = links_.find(id);
    if (found == links_.end()) continue;
    found->second.worker = 0;  // there is nobody left to be told
    close(id, "its worker ended");
  }
}

void Connections::close(Id id, const std::string& reason) {
  const auto found = links_.find(id);
  if (found == links_.end()) return;
  Link& link = found->second;
  spdlog::info("{}: closed: {}", link.address, reason);
  if (link.pumped) pump_->close(link.pumped, reason);
  if (link.kept) (void)::shutdown(link.kept.get(), SHUT_RDWR);  // may be at its end already
  ended(id);
}

void Connections::ended(Id id) {
  const auto found = links_.find(id);
  if (found == links_.end()) return;
  Link link = std::move(found->second);
  links_.erase(found);
  if (link.kept) loop_.forget(link.kept.get());
  loop_.cancel(link.expiry);
  admission_.release(link.host);
  if (link.worker) workers_.detach(link.worker, id);
}

void Connections::stop() {
  stopped_ = true;
  std::vector<Id> ids;
  for (const auto& [id, link] : links_) {
    if (!link.identified) ids.push_back(id);
  }
  for (const Id id : ids) close(id, "the node stops");
}

std::size_t Connections::handshaking() const {
  return static_cast<std::size_t>(std::count_if(
      links_.begin(), links_.end(), [](const auto& link) { return !link.second.identified; }));
}

}  // namespace HOQ::agent
