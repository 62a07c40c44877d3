#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "control/ControlSocket.h"
#include "front/EventLoop.h"
#include "front/WorkerStarter.h"

namespace HOQ::agent {

/// The front's way to the spawner. Belongs to the loop's thread.
class SpawnerClient : public WorkerStarter {
 public:
  /// What came of reading the configuration again: its text, unless there are problems.
  struct Reading {
    std::uint32_t generation = 0;
    std::string text;
    std::vector<std::string> problems;
  };

  /// `lost` is called once, when the spawner has gone or makes no sense. The loop outlives this.
  SpawnerClient(EventLoop& loop, tls::UniqueFd socket,
                std::function<void(const std::string&)> lost);
  ~SpawnerClient() override;
  SpawnerClient(const SpawnerClient&) = delete;
  SpawnerClient& operator=(const SpawnerClient&) = delete;

  void setListener(Listener listener) override { listener_ = std::move(listener); }
  void start(Id id, const std::string& entry) override;
  void kill(Id id) override;

  /// Asks for the configuration, read by the one who may; `done` is called in the loop. One at a
  /// time.
  void reread(std::function<void(Reading)> done);

  /// Workers are of this generation's configuration from now on.
  void adopt(std::uint32_t generation) { generation_ = generation; }

 private:
  void send(Message message);
  void flush();
  void receive();
  void obey(ControlSocket::Received received);
  void take(const HOQ::agent::Reading& answer, const tls::UniqueFd& text);

  EventLoop& loop_;
  std::optional<ControlSocket> socket_;
  const std::function<void(const std::string&)> lost_;
  Listener listener_;
  std::function<void(Reading)> reading_;
  std::uint32_t generation_ = 0;
  std::deque<Message> waiting_;
  bool watchesRoom_ = false;
};

}  // namespace HOQ::agent
