#include "front/SpawnerClient.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <utility>
#include <variant>

namespace HOQ::agent {
namespace {

using Outcome = ControlSocket::Outcome;

/// From the beginning, wherever whoever wrote it left off.
std::string contentsOf(const tls::UniqueFd& file) {
  std::string text;
  char piece[16 * 1024];
  for (;;) {
    const ssize_t got = ::pread(file.get(), piece, sizeof piece, static_cast<off_t>(text.size()));
    if (got <= 0) return text;
    text.append(piece, static_cast<std::size_t>(got));
  }
}

}  // namespace

SpawnerClient::SpawnerClient(EventLoop& loop, tls::UniqueFd socket,
                             std::function<void(const std::string&)> lost)
    : loop_(loop),
      socket_(std::in_place, std::move(socket), Sender::Spawner),
      lost_(std::move(lost)) {
  loop_.watch(socket_->fd(), EPOLLIN, [this](std::uint32_t events) {
    if (events & EPOLLOUT) flush();
    if (events & ~static_cast<std::uint32_t>(EPOLLOUT)) receive();
  });
}

SpawnerClient::~SpawnerClient() {
  if (socket_) loop_.forget(socket_->fd());
}

void SpawnerClient::start(Id id, const std::string& entry) {
  send(StartWorker{id, generation_, entry});
}

void SpawnerClient::kill(Id id) { send(KillWorker{id}); }

void SpawnerClient::reread(std::function<void(Reading)> done) {
  reading_ = std::move(done);
  send(Reread{generation_});
}

void SpawnerClient::send(Message message) {
  waiting_.push_back(std::move(message));
  if (waiting_.size() == 1) flush();
}

void SpawnerClient::flush() {
  if (!socket_) return;
  while (!waiting_.empty() && socket_->send(waiting_.front()) != Outcome::WouldBlock) {
    waiting_.pop_front();  // a spawner that is gone is found out where its socket is read
  }
  if (watchesRoom_ != waiting_.empty()) return;
  watchesRoom_ = !waiting_.empty();
  loop_.change(socket_->fd(), watchesRoom_ ? EPOLLIN | EPOLLOUT : EPOLLIN);
}

void SpawnerClient::receive() {
  while (socket_) {
    ControlSocket::Received received = socket_->receive();
    if (received.outcome == Outcome::WouldBlock) return;
    if (received.outcome == Outcome::Done) {
      obey(std::move(received));
      continue;
    }
    loop_.forget(socket_->fd());
    socket_.reset();
    lost_(received.error);
  }
}

void SpawnerClient::obey(ControlSocket::Received received) {
  if (const auto* started = std::get_if<WorkerStarted>(&received.message)) {
    (void)::fcntl(received.descriptor.get(), F_SETFL, O_NONBLOCK);  // a socket takes it
    listener_.started(started->id,
                      {started->pid, std::move(received.descriptor), started->trouble});
  } else if (const auto* failed = std::get_if<WorkerFailed>(&received.message)) {
    listener_.failed(failed->id, failed->text);
  } else if (const auto* ended = std::get_if<WorkerEnded>(&received.message)) {
    listener_.ended(ended->id, ended->how);
  } else if (const auto* answer = std::get_if<HOQ::agent::Reading>(&received.message)) {
    take(*answer, received.descriptor);
  }
}

void SpawnerClient::take(const HOQ::agent::Reading& answer, const tls::UniqueFd& text) {
  const auto done = std::exchange(reading_, nullptr);
  if (done) done({answer.generation, text ? contentsOf(text) : "", answer.problems});
}

}  // namespace HOQ::agent
