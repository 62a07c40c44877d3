#include "tls/Address.h"

#include <arpa/inet.h>
#include <sys/un.h>

#include <algorithm>
#include <charconv>

namespace HOQ::tls {
namespace {

constexpr std::string_view kUnix = "unix:";
constexpr std::size_t kLongestUnixPath = sizeof(sockaddr_un::sun_path) - 1;
constexpr std::size_t kLongestHost = 253;  // as DNS has it

Error refuse(std::string_view text, const char* why) {
  std::string shown;
  for (const char c : text) shown += static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? '?' : c;
  return {ErrorKind::kUsage, "\"" + shown + "\" is no address: " + why};
}

bool hasBlankOrControl(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) <= 0x20 || c == 0x7f; });
}

bool parsePort(std::string_view text, std::uint16_t& port) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, port);
  return !text.empty() && error == std::errc() && stop == end;
}

bool isIpv6(std::string_view text) {
  const std::string number(text.substr(0, text.find('%')));  // what follows names an interface
  in6_addr parsed{};
  return ::inet_pton(AF_INET6, number.c_str(), &parsed) == 1;
}

}  // namespace

Address Address::unixSocket(std::string path) {
  Address address;
  address.path_ = std::move(path);
  return address;
}

Address Address::ofHost(std::string host, std::uint16_t port) {
  Address address;
  address.host_ = std::move(host);
  address.port_ = port;
  return address;
}

Result<Address> Address::parse(std::string_view text) {
  if (text.starts_with(kUnix)) {
    const std::string_view path = text.substr(kUnix.size());
    if (!path.starts_with('/')) return refuse(text, "unix: takes an absolute path");
    if (path.find('\0') != path.npos) return refuse(text, "a path has no zero byte");
    if (path.size() > kLongestUnixPath)
      return refuse(text, "the path of a UNIX socket has at most 107 bytes");
    return unixSocket(std::string(path));
  }
  if (hasBlankOrControl(text)) return refuse(text, "it has a blank or a control character");

  std::string_view host = text;
  std::string_view port;
  bool hasPort = false;
  if (text.starts_with('[')) {
    const std::size_t end = text.find(']');
    if (end == text.npos) return refuse(text, "\"]\" is missing");
    host = text.substr(1, end - 1);
    if (!isIpv6(host)) return refuse(text, "brackets are for an IPv6 address");
    const std::string_view rest = text.substr(end + 1);
    hasPort = rest.starts_with(':');
    if (!rest.empty() && !hasPort) return refuse(text, "\":\" and a port may follow \"]\"");
    if (hasPort) port = rest.substr(1);
  } else {
    const std::size_t colon = text.find(':');
    hasPort = colon != text.npos;
    if (hasPort && text.find(':', colon + 1) != text.npos)
      return refuse(text, "an IPv6 address stands in brackets: [::1]:7850");
    host = text.substr(0, colon);
    if (hasPort) port = text.substr(colon + 1);
    if (host.find_first_of("[]/@") != host.npos) return refuse(text, "that is no host name");
  }
  if (host.empty()) return refuse(text, "the host is missing");
  if (host.size() > kLongestHost) return refuse(text, "the host name is too long");
  std::uint16_t number = kDefaultPort;
  if (hasPort && !parsePort(port, number)) return refuse(text, "a port is a number up to 65535");
  return ofHost(std::string(host), number);
}

std::string Address::text() const {
  if (isUnix()) return std::string(kUnix) + path_;
  const bool bracketed = host_.find(':') != host_.npos;
  return (bracketed ? "[" + host_ + "]" : host_) + ":" + std::to_string(port_);
}

}  // namespace HOQ::tls
