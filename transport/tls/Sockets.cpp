#include "tls/Sockets.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "tls/UnixSocketFolder.h"

namespace HOQ::tls {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBacklog = 1024;
constexpr mode_t kAnybody = 0666;

/// A socket address of any family.
struct SocketName {
  sockaddr_storage storage{};
  socklen_t length = sizeof storage;

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
  int family() const { return storage.ss_family; }
};

Error failure(ErrorKind kind, const Address& address, const std::string& why) {
  return {kind, address.text() + ": " + why};
}

Error systemFailure(const Address& address, const char* doing, int error) {
  return failure(ErrorKind::kSystem, address, std::string(doing) + ": " + std::strerror(error));
}

SocketName unixName(const std::string& path) {
  SocketName name;
  auto* raw = reinterpret_cast<sockaddr_un*>(&name.storage);
  raw->sun_family = AF_UNIX;
  std::memcpy(raw->sun_path, path.data(), std::min(path.size(), sizeof raw->sun_path - 1));
  name.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
  return name;
}

/// Every address that `address` means, in the system's order.
Result<std::vector<SocketName>> resolve(const Address& address, bool toListen) {
  if (address.isUnix()) return std::vector{unixName(address.path())};
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_NUMERICSERV | (toListen ? AI_PASSIVE : 0);
  addrinfo* found = nullptr;
  const int code = ::getaddrinfo(address.host().c_str(), std::to_string(address.port()).c_str(),
                                 &wanted, &found);
  if (code != 0)
    return failure(toListen ? ErrorKind::kUsage : ErrorKind::kUnreachable, address,
                   std::string("the host is not found: ") + ::gai_strerror(code));
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> guard(found, &::freeaddrinfo);
  std::vector<SocketName> names;
  for (const addrinfo* one = found; one != nullptr; one = one->ai_next) {
    SocketName name;
    std::memcpy(&name.storage, one->ai_addr, one->ai_addrlen);
    name.length = one->ai_addrlen;
    names.push_back(name);
  }
  return names;
}

UniqueFd openSocket(int family) {
  return UniqueFd(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

/// Requests and answers are small and waited for; a peer that is gone without a word shows some
/// day. Neither can fail on a TCP socket in a way that matters.
void tuneTcp(int fd) {
  const int on = 1;
  (void)::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  (void)::setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
}

/// 0, or what kept the connection from standing by `until`.
int waitConnected(int fd, Clock::time_point until) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    pollfd wait{fd, POLLOUT, 0};
    const int ready = ::poll(&wait, 1, static_cast<int>(std::clamp<long>(left, 0, 1 << 30)));
    if (ready == 0) return ETIMEDOUT;
    if (ready > 0) break;
    if (errno != EINTR) return errno;
  }
  int error = 0;
  socklen_t length = sizeof error;
  if (::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) return errno;
  return error;
}

/// 0 and `made`, or why not.
int connectOne(SocketName name, Clock::time_point until, UniqueFd& made) {
  UniqueFd fd = openSocket(name.family());
  if (!fd) return errno;
  if (name.family() != AF_UNIX) tuneTcp(fd.get());
  if (::connect(fd.get(), name.get(), name.length) != 0) {
    const int error = errno;
    // EAGAIN: a UNIX socket whose queue is full; its end cannot be waited for.
    if (error != EINPROGRESS && error != EINTR) return error;
    if (const int late = waitConnected(fd.get(), until); late != 0) return late;
  }
  made = std::move(fd);
  return 0;
}

std::string numeric(const SocketName& name, bool withPort) {
  char host[INET6_ADDRSTRLEN] = "";
  std::uint16_t port = 0;
  if (name.family() == AF_INET) {
    const auto* raw = reinterpret_cast<const sockaddr_in*>(&name.storage);
    ::inet_ntop(AF_INET, &raw->sin_addr, host, sizeof host);
    port = ntohs(raw->sin_port);
  } else if (name.family() == AF_INET6) {
    const auto* raw = reinterpret_cast<const sockaddr_in6*>(&name.storage);
    if (IN6_IS_ADDR_V4MAPPED(&raw->sin6_addr))
      ::inet_ntop(AF_INET, raw->sin6_addr.s6_addr + 12, host, sizeof host);
    else
      ::inet_ntop(AF_INET6, &raw->sin6_addr, host, sizeof host);
    port = ntohs(raw->sin6_port);
  } else {
    return "unknown";
  }
  return withPort ? Address::ofHost(host, port).text() : host;
}

std::string remoteName(int fd, bool withPort) {
  SocketName name;
  if (::getpeername(fd, name.get(), &name.length) != 0) return "unknown";
  if (name.family() != AF_UNIX) return numeric(name, withPort);
  const auto peer = unixPeer(fd);
  return peer ? "unix:uid=" + std::to_string(peer->uid) : "unknown";
}

/// Makes way for a new socket at `path` where an old one is left that nobody listens on.
/// 0, or why it must stay.
int removeStaleSocket(const SocketName& name, const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) return errno == ENOENT ? 0 : errno;
  if (!S_ISSOCK(info.st_mode)) return EEXIST;
  UniqueFd probe = openSocket(AF_UNIX);
  if (!probe) return errno;
  SocketName target = name;
  if (::connect(probe.get(), target.get(), target.length) == 0) return EADDRINUSE;
  if (errno != ECONNREFUSED) return EADDRINUSE;
  return ::unlink(path.c_str()) == 0 || errno == ENOENT ? 0 : errno;
}

/// 0, or why it cannot be listened on.
int bindAndListen(int fd, SocketName& name) {
  const int on = 1;
  (void)::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);  // where it fails, bind() does
  // "[::]" means IPv6 alone, whatever the system's default is, so that 0.0.0.0 can stand beside it.
  if (name.family() == AF_INET6) (void)::setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
  if (::bind(fd, name.get(), name.length) != 0) return errno;
  if (::listen(fd, kBacklog) != 0) return errno;
  return 0;
}

Error cannotListen(const Address& address, int error) {
  const bool ours = error == EADDRINUSE || error == EEXIST || error == EACCES ||
                    error == EADDRNOTAVAIL || error == EROFS || error == ENOENT;
  const char* why = error == EADDRINUSE ? "somebody listens there already"
                    : error == EEXIST   ? "there is something else of that name"
                                        : std::strerror(error);
  return failure(ours ? ErrorKind::kUsage : ErrorKind::kSystem, address,
                 std::string("cannot listen: ") + why);
}

}  // namespace

Result<UniqueFd> connectTo(const Address& address, std::chrono::milliseconds limit) {
  const Clock::time_point end = Clock::now() + limit;
  auto names = resolve(address, false);
  if (!names) return names.error();
  int error = EADDRNOTAVAIL;
  for (std::size_t i = 0; i < names->size(); ++i) {
    // What is left is shared, so that one silent address does not take the others' time.
    const auto share = (end - Clock::now()) / static_cast<long>(names->size() - i);
    UniqueFd made;
    error = connectOne((*names)[i], Clock::now() + share, made);
    if (error == 0) return made;
    if (error == EMFILE || error == ENFILE || error == ENOMEM)
      return systemFailure(address, "cannot make a socket", error);
  }
  if (error == ETIMEDOUT)
    return failure(ErrorKind::kTimedOut, address,
                   "no answer: is the node up, and does a firewall let its port through?");
  if (error == ECONNREFUSED || (address.isUnix() && error == ENOENT))
    return failure(ErrorKind::kUnreachable, address, "nobody listens there");
  return failure(ErrorKind::kUnreachable, address,
                 std::string("cannot connect: ") + std::strerror(error));
}

Listener::~Listener() {
  if (!fd_ || inode_ == 0) return;
  const std::string& path = address_.path();
  struct stat info {};
  if (::lstat(path.c_str(), &info) == 0 && info.st_dev == device_ && info.st_ino == inode_)
    (void)::unlink(path.c_str());  // a name that stays is replaced at the next start
}

Result<std::vector<Listener>> listenOn(const Address& address) {
  if (address.isUnix())
    if (auto error = checkUnixSocketFolder(address.path())) return *error;
  auto names = resolve(address, true);
  if (!names) return names.error();
  std::vector<Listener> listeners;
  for (SocketName& name : *names) {
    UniqueFd fd = openSocket(name.family());
    if (!fd) return systemFailure(address, "cannot make a socket", errno);
    if (address.isUnix())
      if (const int error = removeStaleSocket(name, address.path()); error != 0)
        return cannotListen(address, error);
    if (const int error = bindAndListen(fd.get(), name); error != 0)
      return cannotListen(address, error);
    Listener listener(std::move(fd), address);
    if (address.isUnix()) {
      struct stat info {};
      if (::chmod(address.path().c_str(), kAnybody) != 0 ||
          ::lstat(address.path().c_str(), &info) != 0)
        return systemFailure(address, "cannot let others connect", errno);
      listener.device_ = info.st_dev;
      listener.inode_ = info.st_ino;
    } else {
      SocketName bound;
      if (::getsockname(listener.fd(), bound.get(), &bound.length) != 0)
        return systemFailure(address, "cannot tell the port", errno);
      listener.address_ = *Address::parse(numeric(bound, true));
    }
    listeners.push_back(std::move(listener));
  }
  return listeners;
}

Result<UniqueFd> acceptFrom(const Listener& listener) {
  UniqueFd fd(::accept4(listener.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (fd) {
    if (!listener.address().isUnix()) tuneTcp(fd.get());
    return fd;
  }
  const int error = errno;
  if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM || error == EBADF ||
      error == EINVAL || error == ENOTSOCK || error == EOPNOTSUPP)
    return systemFailure(listener.address(), "cannot accept", error);
  return UniqueFd();  // accept(2): all else concerns the one that came, not the listener
}

Result<UnixPeer> unixPeer(int fd) {
  ucred found{};
  socklen_t length = sizeof found;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &found, &length) != 0)
    return Error{ErrorKind::kSystem,
                 std::string("cannot tell who is connected: ") + std::strerror(errno)};
  // The system answers for sockets of any family, with nobody.
  if (found.pid == 0 && found.uid == static_cast<uid_t>(-1))
    return Error{ErrorKind::kUsage, "this is no UNIX socket"};
  return UnixPeer{found.uid, found.gid, found.pid};
}

std::string remoteAddress(int fd) { return remoteName(fd, true); }

std::string remoteHost(int fd) { return remoteName(fd, false); }

}  // namespace HOQ::tls
