#include "worker/ControlClient.h"

#include <utility>

namespace HOQ::agent {

ControlClient::Received ControlClient::receive() {
  ControlSocket::Received received = socket_.receive();
  if (received.outcome != ControlSocket::Outcome::Done) return {true, std::nullopt, {}};
  auto* answer = std::get_if<DialAnswer>(&received.message);
  if (!answer) return {false, std::move(received.message), std::move(received.descriptor)};
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto waiting = dials_.find(answer->request);
  if (waiting == dials_.end()) return {};
  waiting->second =
      Dialled{answer->outcome, std::move(answer->text), std::move(received.descriptor)};
  answered_.notify_all();
  return {};
}

void ControlClient::send(const Message& message) {
  const std::lock_guard<std::mutex> lock(sending_);
  (void)socket_.send(message);
}

ControlClient::Dialled ControlClient::dial(const std::string& address) {
  std::unique_lock<std::mutex> lock(mutex_);
  const std::uint32_t request = ++lastRequest_;
  dials_[request] = std::nullopt;
  lock.unlock();
  send(Dial{request, address});
  lock.lock();
  answered_.wait(lock, [&] { return gaveUp_ || dials_[request]; });
  std::optional<Dialled> answer = std::move(dials_[request]);
  dials_.erase(request);
  if (answer) return std::move(*answer);
  return {DialOutcome::Unreachable, "this node stops", tls::UniqueFd()};
}

void ControlClient::giveUp() {
  const std::lock_guard<std::mutex> lock(mutex_);
  gaveUp_ = true;
  answered_.notify_all();
}

}  // namespace HOQ::agent
