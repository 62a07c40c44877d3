#include "front/SignalSource.h"

#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace HOQ::agent {
namespace {

sigset_t ours() {
  sigset_t set;
  (void)::sigemptyset(&set);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) (void)::sigaddset(&set, signal);
  return set;
}

}  // namespace

void SignalSource::block() {
  const sigset_t set = ours();
  (void)::pthread_sigmask(SIG_BLOCK, &set, nullptr);  // fails for bad arguments only
  for (const int signal : {SIGPIPE, SIGXFSZ}) (void)std::signal(signal, SIG_IGN);
}

SignalSource::SignalSource(EventLoop& loop, std::function<void(int)> each)
    : loop_(loop), each_(std::move(each)) {
  const sigset_t set = ours();
  fd_.reset(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!fd_) throw std::system_error(errno, std::generic_category(), "signalfd");
  loop_.watch(fd_.get(), EPOLLIN, [this](std::uint32_t) { read(); });
}

SignalSource::~SignalSource() { loop_.forget(fd_.get()); }

void SignalSource::read() {
  signalfd_siginfo info{};
  while (::read(fd_.get(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    each_(static_cast<int>(info.ssi_signo));
  }
}

}  // namespace HOQ::agent
