#include "front/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "tls/UniqueFd.h"

namespace HOQ::agent {

ServiceManager ServiceManager::fromEnvironment() {
  ServiceManager manager;
  if (const char* socket = std::getenv("NOTIFY_SOCKET")) manager.socket_ = socket;
  (void)::unsetenv("NOTIFY_SOCKET");  // fails for bad names only
  return manager;
}

void ServiceManager::send(const std::string& text) const {
  sockaddr_un address{};
  if (socket_.empty() || socket_.size() >= sizeof address.sun_path) return;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, socket_.data(), socket_.size());
  if (socket_[0] == '@') address.sun_path[0] = '\0';  // a name outside the file system
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket_.size());
  const tls::UniqueFd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  // A manager that cannot be told is its own trouble: the daemon serves on.
  (void)::sendto(fd.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                 reinterpret_cast<const sockaddr*>(&address), length);
}

void ServiceManager::ready(const std::string& status) const {
  send("READY=1\nSTATUS=" + status + "\n");
}

void ServiceManager::reloading() const {
  timespec now{};
  (void)::clock_gettime(CLOCK_MONOTONIC, &now);  // cannot fail for this clock
  const long long microseconds = now.tv_sec * 1000000LL + now.tv_nsec / 1000;
  send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds) + "\n");
}

void ServiceManager::stopping() const { send("STOPPING=1\nSTATUS=draining\n"); }

}  // namespace HOQ::agent
