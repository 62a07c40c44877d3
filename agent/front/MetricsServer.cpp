#include "front/MetricsServer.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <utility>

namespace HOQ::agent {
namespace {

constexpr std::size_t kMostVisits = 16;
constexpr std::size_t kLongestRequest = 4096;
constexpr std::chrono::seconds kVisitLimit{5};

std::string response(int status, const std::string& body) {
  const char* reason = status == 200   ? "OK"
                       : status == 404 ? "Not Found"
                       : status == 405 ? "Method Not Allowed"
                                       : "Bad Request";
  return "HTTP/1.1 " + std::to_string(status) + " " + reason +
         "\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

}  // namespace

MetricsAnswer answerTo(const std::string& request) {
  const bool complete = request.find("\r\n\r\n") != std::string::npos;
  if (!complete && request.size() < kLongestRequest) return {false, 0};
  if (!complete) return {true, 400};
  const std::string line = request.substr(0, request.find("\r\n"));
  const std::size_t space = line.find(' ');
  const std::size_t end = line.find(' ', space == std::string::npos ? space : space + 1);
  if (end == std::string::npos || line.compare(end, 7, " HTTP/1") != 0) return {true, 400};
  if (line.compare(0, space, "GET") != 0) return {true, 405};
  std::string path = line.substr(space + 1, end - space - 1);
  path = path.substr(0, path.find('?'));
  return {true, path == "/metrics" ? 200 : 404};
}

MetricsServer::~MetricsServer() {
  while (!visits_.empty()) close(visits_.begin()->first);
}

void MetricsServer::take(tls::UniqueFd socket) {
  if (visits_.size() >= kMostVisits) return;
  const std::uint64_t id = ++lastId_;
  Visit& visit = visits_[id];
  visit.socket = std::move(socket);
  visit.timer = loop_.after(kVisitLimit, [this, id] { close(id); });
  loop_.watch(visit.socket.get(), EPOLLIN,
              [this, id](std::uint32_t) { visits_[id].answer.empty() ? read(id) : write(id); });
}

void MetricsServer::read(std::uint64_t id) {
  Visit& visit = visits_[id];
  char piece[1024];
  const ssize_t got = ::recv(visit.socket.get(), piece, sizeof piece, MSG_DONTWAIT);
  if (got < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (got <= 0) return close(id);
  visit.request.append(piece, static_cast<std::size_t>(got));
  const MetricsAnswer answer = answerTo(visit.request);
  if (!answer.complete) return;
  visit.answer = response(answer.status, answer.status == 200 ? text_() : "");
  loop_.change(visit.socket.get(), EPOLLOUT);
  write(id);
}

void MetricsServer::write(std::uint64_t id) {
  Visit& visit = visits_[id];
  while (visit.sent < visit.answer.size()) {
    const ssize_t sent = ::send(visit.socket.get(), visit.answer.data() + visit.sent,
                                visit.answer.size() - visit.sent, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (sent < 0) break;
    visit.sent += static_cast<std::size_t>(sent);
  }
  close(id);
}

void MetricsServer::close(std::uint64_t id) {
  const auto found = visits_.find(id);
  if (found == visits_.end()) return;
  loop_.forget(found->second.socket.get());
  loop_.cancel(found->second.timer);
  (void)::shutdown(found->second.socket.get(), SHUT_WR);  // may be closed there already
  visits_.erase(found);
}

}  // namespace HOQ::agent
