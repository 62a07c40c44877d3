#include "tls/SocketBio.h"

#include <sys/socket.h>

#include <cerrno>

#include "tls/TlsStream.h"

namespace HOQ::tls {
namespace {

bool isWait(int error) { return error == EAGAIN || error == EWOULDBLOCK; }

}  // namespace

int SocketBio::read(BIO* bio, char* bytes, std::size_t count, std::size_t* got) {
  auto* stream = static_cast<TlsStream*>(BIO_get_data(bio));
  BIO_clear_retry_flags(bio);
  ssize_t result;
  int error;
  do {
    result = ::recv(stream->socket_.get(), bytes, count, MSG_DONTWAIT);
    error = errno;
  } while (result < 0 && error == EINTR);
  *got = result > 0 ? static_cast<std::size_t>(result) : 0;
  if (result > 0) return 1;
  if (result == 0) {
    stream->atEnd_ = true;
  } else if (isWait(error)) {
    stream->readable_ = false;
    BIO_set_retry_read(bio);
  } else {
    stream->socketError_ = error;
  }
  return 0;
}

int SocketBio::write(BIO* bio, const char* bytes, std::size_t count, std::size_t* taken) {
  auto* stream = static_cast<TlsStream*>(BIO_get_data(bio));
  BIO_clear_retry_flags(bio);
  // Records that belong together go as one: the other side wakes up once for them.
  const int flags = MSG_DONTWAIT | MSG_NOSIGNAL | (stream->moreFollows_ ? MSG_MORE : 0);
  ssize_t result;
  int error;
  do {
    result = ::send(stream->socket_.get(), bytes, count, flags);
    error = errno;
  } while (result < 0 && error == EINTR);
  *taken = result > 0 ? static_cast<std::size_t>(result) : 0;
  if (result >= 0) return 1;
  if (isWait(error)) {
    stream->writable_ = false;
    BIO_set_retry_write(bio);
  } else {
    stream->socketError_ = error;
  }
  return 0;
}

long SocketBio::control(BIO* bio, int command, long, void*) {
  const auto* stream = static_cast<const TlsStream*>(BIO_get_data(bio));
  if (command == BIO_CTRL_EOF) return stream->atEnd_ ? 1 : 0;
  return command == BIO_CTRL_FLUSH ? 1 : 0;
}

const BIO_METHOD* SocketBio::method() {
  static const BIO_METHOD* const kMethod = [] {
    BIO_METHOD* made =
        BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK | BIO_TYPE_DESCRIPTOR, "socket");
    if (made != nullptr) {
      BIO_meth_set_read_ex(made, read);
      BIO_meth_set_write_ex(made, write);
      BIO_meth_set_ctrl(made, control);
    }
    return made;
  }();
  return kMethod;
}

BIO* SocketBio::make(TlsStream* stream) {
  BIO* bio = method() == nullptr ? nullptr : BIO_new(method());
  if (bio == nullptr) return nullptr;
  BIO_set_data(bio, stream);
  BIO_set_init(bio, 1);
  return bio;
}

}  // namespace HOQ::tls
