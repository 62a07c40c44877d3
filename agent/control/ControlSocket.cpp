#include "control/ControlSocket.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>
#include <vector>

namespace HOQ::agent {
namespace {

/// More than this many descriptors in one message are cut off by the system and closed.
constexpr std::size_t kMostDescriptors = 4;

using Outcome = ControlSocket::Outcome;
using Received = ControlSocket::Received;
using Descriptor = MessageKind::Descriptor;

Received broken(std::string error) {
  return {Outcome::Broken, Message(), tls::UniqueFd(), std::move(error)};
}

std::vector<tls::UniqueFd> descriptorsOf(msghdr& header) {
  std::vector<tls::UniqueFd> found;
  for (cmsghdr* part = CMSG_FIRSTHDR(&header); part; part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int fd = -1;
      std::memcpy(&fd, CMSG_DATA(part) + i * sizeof fd, sizeof fd);
      found.emplace_back(fd);
    }
  }
  return found;
}

/// Whether a message of `kind` may come with `count` descriptors.
bool fits(const MessageKind& kind, std::size_t count) {
  switch (kind.descriptor) {
    case Descriptor::None:
      return count == 0;
    case Descriptor::Always:
      return count == 1;
    case Descriptor::Sometimes:
      return count <= 1;
  }
  return false;
}

}  // namespace

std::pair<tls::UniqueFd, tls::UniqueFd> ControlSocket::pair() {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return {};
  return {tls::UniqueFd(ends[0]), tls::UniqueFd(ends[1])};
}

Outcome ControlSocket::send(const Message& message, int descriptor) {
  std::string bytes = encode(message);
  iovec piece{bytes.data(), bytes.size()};
  alignas(cmsghdr) char room[CMSG_SPACE(sizeof(int))] = {};
  msghdr header{};
  header.msg_iov = &piece;
  header.msg_iovlen = 1;
  if (descriptor >= 0) {
    header.msg_control = room;
    header.msg_controllen = sizeof room;
    cmsghdr* part = CMSG_FIRSTHDR(&header);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(part), &descriptor, sizeof descriptor);
  }
  ssize_t sent;
  do {
    sent = ::sendmsg(fd_.get(), &header, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  if (sent >= 0) return Outcome::Done;
  // ETOOMANYREFS: too many descriptors are on their way already, which passes as well.
  const bool full = errno == EAGAIN || errno == ENOBUFS || errno == ETOOMANYREFS;
  if (full) return Outcome::WouldBlock;
  return errno == EPIPE || errno == ECONNRESET ? Outcome::Closed : Outcome::Broken;
}

void ControlSocket::finish() {
  (void)::shutdown(fd_.get(), SHUT_WR);  // an end that is gone needs no telling
}

Received ControlSocket::receive() {
  const std::unique_ptr<char[]> bytes(new char[kLongestMessage]);  // not cleared: it is much
  iovec piece{bytes.get(), kLongestMessage};
  alignas(cmsghdr) char room[CMSG_SPACE(kMostDescriptors * sizeof(int))] = {};
  msghdr header{};
  header.msg_iov = &piece;
  header.msg_iovlen = 1;
  header.msg_control = room;
  header.msg_controllen = sizeof room;
  ssize_t got;
  do {
    got = ::recvmsg(fd_.get(), &header, MSG_CMSG_CLOEXEC);
    // ECONNRESET says once that the other end was closed before it had read all; what it sent
    // before that is still there.
  } while (got < 0 && (errno == EINTR || errno == ECONNRESET));
  const int error = errno;
  if (got < 0) {
    if (error == EAGAIN) return {Outcome::WouldBlock, Message(), tls::UniqueFd(), ""};
    return broken(std::generic_category().message(error));
  }
  std::vector<tls::UniqueFd> descriptors = descriptorsOf(header);
  if (got == 0) return {Outcome::Closed, Message(), tls::UniqueFd(), ""};
  if (header.msg_flags & MSG_TRUNC) return broken("a message that is too long");
  if (header.msg_flags & MSG_CTRUNC) return broken("too many descriptors");
  Decoded decoded = decode({bytes.get(), static_cast<std::size_t>(got)}, peer_);
  if (!decoded.error.empty()) return broken(std::move(decoded.error));
  if (!fits(kindOf(decoded.message), descriptors.size())) {
    return broken(std::string("\"") + kindOf(decoded.message).name + "\" with " +
                  std::to_string(descriptors.size()) + " descriptors");
  }
  Received received{Outcome::Done, std::move(decoded.message), tls::UniqueFd(), ""};
  if (!descriptors.empty()) received.descriptor = std::move(descriptors.front());
  return received;
}

}  // namespace HOQ::agent
