#include "tls/PumpThread.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace HOQ::tls {
namespace {

// What an event is about: a connection's id, and which of its descriptors; 0 is the bell.
constexpr std::uint64_t kBell = 0;
constexpr std::uint64_t socketTag(ConnectionId id) { return id << 1; }
constexpr std::uint64_t plainTag(ConnectionId id) { return id << 1 | 1; }

constexpr char kEnds[] = "the pump ends";

Error lacks(const char* what, int error) {
  return {ErrorKind::kSystem, std::string(what) + ": " + std::strerror(error)};
}

}  // namespace

PumpThread::PumpThread(const TlsPump::Options& options, PumpCounters& counters)
    : options_(options),
      bench_{options, counters, std::vector<unsigned char>(options.bufferBytes)} {}

PumpThread::~PumpThread() {
  stop();
  join();
}

std::optional<Error> PumpThread::start() {
  epoll_.reset(::epoll_create1(EPOLL_CLOEXEC));
  if (!epoll_) return lacks("no epoll descriptor", errno);
  bell_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!bell_) return lacks("no event descriptor", errno);
  if (!watch(bell_.get(), kBell)) return lacks("cannot watch", errno);
  // Signals are for the threads of whoever uses the pump.
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  pthread_t made;
  const int error = ::pthread_create(&made, nullptr, main, this);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (error != 0) return lacks("no thread", error);
  thread_ = made;
  (void)::pthread_setname_np(made, "hoq-tls");  // only for those who look at threads
  return std::nullopt;
}

void PumpThread::add(PumpConnection::Start start) {
  load_.fetch_add(1, std::memory_order_relaxed);
  order(std::move(start));
}

void PumpThread::close(ConnectionId id, std::string reason) { order(Close{id, std::move(reason)}); }

void PumpThread::order(Order order) {
  {
    const std::lock_guard lock(mutex_);
    orders_.push_back(std::move(order));
  }
  (void)::eventfd_write(bell_.get(), 1);  // fails only where it has been rung 2^64 times
}

std::vector<PumpThread::Order> PumpThread::takeOrders() {
  const std::lock_guard lock(mutex_);
  return std::exchange(orders_, {});
}

void PumpThread::stop() {
  stopping_ = true;
  if (bell_) (void)::eventfd_write(bell_.get(), 1);
}

void PumpThread::join() {
  if (thread_) ::pthread_join(*std::exchange(thread_, std::nullopt), nullptr);
}

bool PumpThread::refuseOrders() {
  std::vector<Order> late = takeOrders();
  for (Order& order : late)
    if (auto* start = std::get_if<PumpConnection::Start>(&order))
      start->ready(Error{ErrorKind::kClosed, kEnds});
  return !late.empty();
}

void* PumpThread::main(void* self) {
  static_cast<PumpThread*>(self)->loop();
  return nullptr;
}

void PumpThread::loop() {
  std::array<epoll_event, 64> events;
  while (!stopping_) {
    const int count =
        ::epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), timeout());
    for (int i = 0; i < count; ++i)
      note(events[static_cast<std::size_t>(i)].data.u64,
           events[static_cast<std::size_t>(i)].events);
    for (Order& order : takeOrders()) std::visit([this](auto& what) { obey(what); }, order);
    runQueued();
    expire();
  }
  while (!entries_.empty()) entries_.erase(entries_.begin());
}

/// Milliseconds until something is due; -1: nothing ever is by itself.
int PumpThread::timeout() const {
  if (!queued_.empty()) return 0;
  if (deadlines_.empty()) return -1;
  const auto left = deadlines_.begin()->first - Clock::now();
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(left).count();
  return static_cast<int>(std::clamp<long>(milliseconds, 0, 1 << 30));
}

void PumpThread::note(std::uint64_t tag, std::uint32_t events) {
  if (tag == kBell) {
    eventfd_t rung;
    (void)::eventfd_read(bell_.get(), &rung);  // how often does not matter
    return;
  }
  const ConnectionId id = tag >> 1;
  const auto found = entries_.find(id);
  if (found == entries_.end()) return;  // it ended earlier in this round
  PumpConnection& connection = *found->second.connection;
  if (tag == plainTag(id))
    connection.notePlain(events);
  else
    connection.noteSocket(events);
  queue(id, found->second);
}

void PumpThread::queue(ConnectionId id, Entry& entry) {
  if (std::exchange(entry.isQueued, true)) return;
  queued_.push_back(id);
}

void PumpThread::obey(PumpConnection::Start& start) {
  const ConnectionId id = start.id;
  const auto limit =
      start.options.limit.count() > 0 ? start.options.limit : options_.handshakeLimit;
  Entry entry;
  entry.connection =
      std::make_unique<PumpConnection>(std::move(start), bench_, Clock::now() + limit);
  Entry& placed = entries_.emplace(id, std::move(entry)).first->second;
  if (!watch(placed.connection->socket(), socketTag(id)))
    placed.connection->breakOff(lacks("cannot watch", errno).text);
  queue(id, placed);
}

void PumpThread::obey(Close& close) {
  const auto found = entries_.find(close.id);
  if (found == entries_.end()) return;
  found->second.connection->breakOff(close.reason);
  settle(close.id, found->second);
}

void PumpThread::runQueued() {
  for (std::size_t left = queued_.size(); left > 0; --left) {
    const ConnectionId id = queued_.front();
    queued_.pop_front();
    runOne(id);
  }
}

void PumpThread::runOne(ConnectionId id) {
  const auto found = entries_.find(id);
  if (found == entries_.end()) return;
  Entry& entry = found->second;
  entry.isQueued = false;
  if (entry.connection->work()) queue(id, entry);
  const int plain = entry.connection->plain();
  if (plain >= 0 && !std::exchange(entry.isPlainWatched, true) && !watch(plain, plainTag(id)))
    entry.connection->breakOff(lacks("cannot watch", errno).text);
  settle(id, entry);
}

/// Takes note of what became of it. `entry` may be gone afterwards.
void PumpThread::settle(ConnectionId id, Entry& entry) {
  const Clock::time_point deadline = entry.connection->deadline();
  if (deadline != entry.deadline) {
    if (entry.deadline != Clock::time_point::max()) deadlines_.erase({entry.deadline, id});
    if (deadline != Clock::time_point::max()) deadlines_.emplace(deadline, id);
    entry.deadline = deadline;
  }
  if (!entry.connection->isEnded()) return;
  entries_.erase(id);
  load_.fetch_sub(1, std::memory_order_relaxed);
}

void PumpThread::expire() {
  while (!deadlines_.empty() && deadlines_.begin()->first <= Clock::now()) {
    const ConnectionId id = deadlines_.begin()->second;
    Entry& entry = entries_.at(id);
    entry.connection->expire();
    settle(id, entry);
  }
}

bool PumpThread::watch(int fd, std::uint64_t tag) {
  epoll_event event{};
  event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
  event.data.u64 = tag;
  return ::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

}  // namespace HOQ::tls
