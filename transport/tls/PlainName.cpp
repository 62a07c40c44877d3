#include "tls/PlainName.h"

#include <sys/random.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace HOQ::tls {
namespace {

constexpr std::string_view kPrefix = "hoq.";
constexpr std::size_t kUnique = 8;           // digits, so that no two names are the same
constexpr std::size_t kLongestAddress = 47;  // of IPv6, with brackets and port
constexpr std::size_t kNameAt = offsetof(sockaddr_un, sun_path) + 1;

constexpr std::string_view kDigits = "0123456789abcdef";

std::string hexadecimal(std::string_view bytes) {
  std::string text;
  for (const char each : bytes) {
    const auto byte = static_cast<unsigned char>(each);
    text += {kDigits[byte >> 4], kDigits[byte & 0xF]};
  }
  return text;
}

}  // namespace

std::string plainName(const std::string& address) {
  char random[kUnique / 2] = {};
  (void)!::getrandom(random, sizeof random, 0);  // so few bytes come whole
  return std::string(kPrefix) + hexadecimal({random, sizeof random}) + "." +
         hexadecimal(std::string_view(address).substr(0, kLongestAddress));
}

std::string addressInPlainName(std::string_view name) {
  const std::size_t begin = kPrefix.size() + kUnique + 1;
  if (name.size() < begin || name.substr(0, kPrefix.size()) != kPrefix) return "";
  std::string address;
  for (name.remove_prefix(begin); name.size() >= 2; name.remove_prefix(2)) {
    const std::size_t high = kDigits.find(name[0]);
    const std::size_t low = kDigits.find(name[1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return "";
    address += static_cast<char>(high << 4 | low);
  }
  return address;
}

std::string addressBehind(int fd) {
  sockaddr_un name{};
  socklen_t length = sizeof name;
  if (::getpeername(fd, reinterpret_cast<sockaddr*>(&name), &length) != 0) return "";
  if (name.sun_family != AF_UNIX || length <= kNameAt || name.sun_path[0] != '\0') return "";
  return addressInPlainName({name.sun_path + 1, length - kNameAt});
}

void bindPlainName(int fd, const std::string& address) {
  const std::string text = plainName(address);
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  std::memcpy(name.sun_path + 1, text.data(), std::min(text.size(), sizeof name.sun_path - 1));
  (void)::bind(fd, reinterpret_cast<const sockaddr*>(&name),
               static_cast<socklen_t>(kNameAt + text.size()));
}

}  // namespace HOQ::tls
