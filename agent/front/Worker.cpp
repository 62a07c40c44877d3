#include "front/Worker.h"

#include <sys/epoll.h>

#include <memory>
#include <utility>

namespace HOQ::agent {
namespace {

using Outcome = ControlSocket::Outcome;

constexpr std::size_t kMostWaiting = 1024;

/// So that a worker that talks without end does not keep the front from the others.
constexpr int kMessagesATurn = 16;

}  // namespace

Worker::Worker(EventLoop& loop, Id id, Welcome welcome, std::optional<ClientEntry> entry,
               Listener listener)
    : loop_(loop),
      id_(id),
      welcome_(std::move(welcome)),
      entry_(std::move(entry)),
      listener_(std::move(listener)) {
  (void)send(welcome_);  // the first message always has room
}

Worker::~Worker() {
  if (socket_) loop_.forget(socket_->fd());
}

void Worker::begin(WorkerStarter::Started started) {
  pid_ = started.pid;
  socket_.emplace(std::move(started.control), Sender::Worker);
  loop_.watch(socket_->fd(), EPOLLIN, [this](std::uint32_t events) {
    if (events & EPOLLOUT) flush();
    if ((events & ~static_cast<std::uint32_t>(EPOLLOUT)) == 0) return;
    for (int i = 0; i < kMessagesATurn && receiveOne();) ++i;
  });
  if (ending) {
    socket_->finish();
  } else {
    flush();
  }
}

bool Worker::send(Message message, tls::UniqueFd descriptor) {
  if (waiting_.size() >= kMostWaiting) return false;
  waiting_.push_back({std::move(message), std::move(descriptor)});
  if (waiting_.size() == 1) flush();
  return true;
}

void Worker::flush() {
  if (!socket_) return;
  while (!waiting_.empty()) {
    const Waiting& next = waiting_.front();
    const Outcome outcome = socket_->send(next.message, next.descriptor.get());
    if (outcome == Outcome::WouldBlock) break;
    // A worker that is gone is found out where its socket is read; what was for it is dropped.
    waiting_.pop_front();
  }
  if (watchesRoom_ == waiting_.empty()) {
    watchesRoom_ = !waiting_.empty();
    loop_.change(socket_->fd(), watchesRoom_ ? EPOLLIN | EPOLLOUT : EPOLLIN);
  }
}

/// False when there is nothing more now, or never again: then this may be destroyed.
bool Worker::receiveOne() {
  const Listener listener = listener_;  // what is told may destroy this
  const std::weak_ptr<bool> alive = alive_;
  ControlSocket::Received received = socket_->receive();
  if (received.outcome == Outcome::WouldBlock) return false;
  if (received.outcome != Outcome::Done) {
    listener.gone(*this, received.error);
    return false;
  }
  listener.said(*this, std::move(received.message));
  return !alive.expired();
}

void Worker::finish() {
  ending = true;
  waiting_.clear();
  if (socket_) socket_->finish();
}

void Worker::hearOut() {
  while (socket_ && receiveOne()) {
  }
}

}  // namespace HOQ::agent
