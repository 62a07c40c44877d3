#include "front/Listeners.h"

#include <spdlog/spdlog.h>
#include <sys/epoll.h>

#include <algorithm>

namespace HOQ::agent {
namespace {

/// So that a flood on one socket does not keep the loop from all else.
constexpr int kAcceptedATurn = 32;

/// While the system has no descriptor left, the socket stays ready: without a pause the loop would
/// do nothing but fail.
constexpr std::chrono::milliseconds kPause{200};

bool contains(const std::vector<std::string>& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

}  // namespace

tls::Result<Listeners::Opened> Listeners::open(const std::vector<std::string>& wanted,
                                               Opened opened) const {
  for (const std::string& text : wanted) {
    if (open_.count(text) || opened.count(text)) continue;
    auto address = tls::Address::parse(text);
    if (!address) return address.error();
    auto listeners = tls::listenOn(*address);
    if (!listeners) return listeners.error();
    opened.emplace(text, std::move(*listeners));
  }
  return opened;
}

std::vector<std::string> Listeners::adopt(Opened opened, const std::vector<std::string>& wanted) {
  for (auto known = open_.begin(); known != open_.end();) {
    if (contains(wanted, known->first)) {
      ++known;
      continue;
    }
    for (const tls::Listener& listener : known->second) forget(listener);
    known = open_.erase(known);
  }
  std::vector<std::string> addresses;
  for (const std::string& text : wanted) {
    const auto fresh = opened.find(text);
    if (fresh == opened.end()) continue;
    const auto [place, added] = open_.emplace(text, std::move(fresh->second));
    for (const tls::Listener& listener : place->second) {
      watch(listener);
      addresses.push_back(listener.address().text());
    }
  }
  return addresses;
}

void Listeners::watch(const tls::Listener& listener) {
  loop_.watch(listener.fd(), EPOLLIN, [this, &listener](std::uint32_t) { accept(listener); });
}

void Listeners::forget(const tls::Listener& listener) {
  loop_.forget(listener.fd());
  const auto pause = pauses_.find(listener.fd());
  if (pause == pauses_.end()) return;
  loop_.cancel(pause->second);
  pauses_.erase(pause);
}

void Listeners::accept(const tls::Listener& listener) {
  for (int i = 0; i < kAcceptedATurn; ++i) {
    auto socket = tls::acceptFrom(listener);
    if (!socket) {
      spdlog::error("{}: {}", listener.address().text(), socket.error().text);
      loop_.forget(listener.fd());
      pauses_[listener.fd()] = loop_.after(kPause, [this, &listener] {
        pauses_.erase(listener.fd());
        watch(listener);
      });
      return;
    }
    if (!*socket) return;
    accepted_(std::move(*socket), listener.address().isUnix());
  }
}

void Listeners::closeAll() {
  for (const auto& [text, listeners] : open_) {
    for (const tls::Listener& listener : listeners) forget(listener);
  }
  open_.clear();
}

}  // namespace HOQ::agent
