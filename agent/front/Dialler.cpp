#include "front/Dialler.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "config/PeerPattern.h"
#include "tls/Sockets.h"

namespace HOQ::agent {
namespace {

constexpr int kThreads = 4;
constexpr std::size_t kMostWaiting = 256;
constexpr std::chrono::seconds kConnectLimit{10};

Dialler::Dialled refused(std::string text) {
  return {DialOutcome::Refused, std::move(text), tls::UniqueFd()};
}

Dialler::Dialled failed(const tls::Error& error) {
  const bool untrusted = error.kind == tls::ErrorKind::kUntrusted;
  return {untrusted ? DialOutcome::Untrusted : DialOutcome::Unreachable, error.text,
          tls::UniqueFd()};
}

/// The connection, unless it leads to somebody who is not meant; then it ends with its descriptor.
Dialler::Dialled judged(tls::TlsConnection made, const std::vector<std::string>& names) {
  const auto bears = [&](const std::string& name) { return made.peer.hasName(name); };
  if (names.empty() || std::any_of(names.begin(), names.end(), bears)) {
    return {DialOutcome::Connected, "", std::move(made.plain)};
  }
  return {DialOutcome::Untrusted, "its certificate bears no name of a [[peer]] with this address",
          tls::UniqueFd()};
}

}  // namespace

/// What the threads hold together; it outlives the Dialler where one of them hangs.
struct Dialler::Shared {
  struct Job {
    tls::Address address;
    tls::TlsContextPtr context;
    std::vector<std::string> names;  // the certificate must bear one of them, if there are any
    Done done;
  };

  Shared(EventLoop& eventLoop, tls::TlsPump& tlsPump) : loop(eventLoop), pump(tlsPump) {}

  EventLoop& loop;     // used by others than its thread under the mutex, while not stopped
  tls::TlsPump& pump;  // used in the loop
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Job> jobs;
  bool stopped = false;

  /// In the loop, which the pump belongs to.
  static void shakeHands(const std::shared_ptr<Shared>& shared, const Job& job,
                         tls::UniqueFd socket) {
    tls::TlsPump::ConnectOptions options;
    options.expectedNames = {job.address.host()};
    const auto ready = [shared, names = job.names,
                        done = job.done](tls::Result<tls::TlsConnection> made) {
      answer(shared, done, made ? judged(std::move(*made), names) : failed(made.error()));
    };
    shared->pump.connect(std::move(socket), job.context, std::move(options), ready);
  }

  /// Runs `task` in the loop, unless all is over by then. Any thread.
  static void inLoop(const std::shared_ptr<Shared>& shared, EventLoop::Task task) {
    const std::lock_guard<std::mutex> lock(shared->mutex);
    if (shared->stopped) return;
    shared->loop.post([shared, task = std::move(task)] {
      if (!shared->stopped) task();  // set in the loop's thread: no lock is needed to read it
    });
  }

  static void answer(const std::shared_ptr<Shared>& shared, Done done, Dialled dialled) {
    auto result = std::make_shared<Dialled>(std::move(dialled));
    inLoop(shared, [done = std::move(done), result] { done(std::move(*result)); });
  }

  static void work(const std::shared_ptr<Shared>& shared) {
    while (std::optional<Job> job = next(*shared)) {
      auto socket = tls::connectTo(job->address, kConnectLimit);
      if (!socket) {
        answer(shared, job->done, failed(socket.error()));
      } else {
        auto connected = std::make_shared<tls::UniqueFd>(std::move(*socket));
        inLoop(shared,
               [shared, job = *job, connected] { shakeHands(shared, job, std::move(*connected)); });
      }
    }
  }

  static std::optional<Job> next(Shared& shared) {
    std::unique_lock<std::mutex> lock(shared.mutex);
    shared.changed.wait(lock, [&] { return shared.stopped || !shared.jobs.empty(); });
    if (shared.stopped) return std::nullopt;
    Job job = std::move(shared.jobs.front());
    shared.jobs.pop_front();
    return job;
  }
};

Dialler::Dialler(EventLoop& loop, tls::TlsPump& pump)
    : shared_(std::make_shared<Shared>(loop, pump)) {
  for (int i = 0; i < kThreads; ++i) {
    std::thread([shared = shared_] { Shared::work(shared); }).detach();
  }
}

Dialler::~Dialler() {
  const std::lock_guard<std::mutex> lock(shared_->mutex);
  shared_->stopped = true;
  shared_->jobs.clear();
  shared_->changed.notify_all();
}

void Dialler::dial(const std::string& address, tls::TlsContextPtr context,
                   const std::vector<PeerEntry>& peers, Done done) {
  const auto refuse = [&](std::string why) {
    Shared::answer(shared_, std::move(done), refused(std::move(why)));
  };
  auto parsed = tls::Address::parse(address);
  if (!parsed) return refuse(parsed.error().text);
  if (parsed->isUnix()) return refuse("this node reaches others over TLS only");
  if (!context) return refuse("this node has no certificate");
  std::vector<std::string> names;
  for (const PeerEntry& peer : peers) {
    if (fitsPeerPattern(*parsed, peer.address)) names.push_back(peer.name);
  }
  if (names.empty() && !peers.empty()) return refuse("no [[peer]] of this node has this address");
  std::unique_lock<std::mutex> lock(shared_->mutex);
  if (shared_->jobs.size() >= kMostWaiting) {
    lock.unlock();
    return refuse("too many connections are being made");
  }
  shared_->jobs.push_back(
      {std::move(*parsed), std::move(context), std::move(names), std::move(done)});
  shared_->changed.notify_one();
}

}  // namespace HOQ::agent
