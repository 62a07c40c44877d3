#include "config/AddressCheck.h"

#include <arpa/inet.h>

#include "tls/Address.h"

namespace HOQ::agent {
namespace {

bool isLoopback(const std::string& host) {
  in_addr v4{};
  if (::inet_pton(AF_INET, host.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
  in6_addr v6{};
  if (::inet_pton(AF_INET6, host.c_str(), &v6) == 1) return IN6_IS_ADDR_LOOPBACK(&v6);
  return host == "localhost";
}

}  // namespace

std::string badListenAddress(const std::string& text) {
  const auto address = tls::Address::parse(text);
  return address ? "" : address.error().text;
}

std::string badMetricsAddress(const std::string& text) {
  const auto address = tls::Address::parse(text);
  if (!address) return address.error().text;
  if (address->isUnix() || !isLoopback(address->host())) {
    return "\"" + text + "\" is not a loopback address";
  }
  return "";
}

bool isUnixAddress(const std::string& text) {
  const auto address = tls::Address::parse(text);
  return address && address->isUnix();
}

}  // namespace HOQ::agent
