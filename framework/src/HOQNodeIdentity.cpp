#include <hoq/HOQNodeIdentity.h>

#include <sys/random.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <system_error>

namespace HOQ {
namespace {

constexpr std::size_t kDigits = 32;

struct Identity {
  std::mutex mutex;  // guards eid
  HOQEID eid;
};

Identity& identity() {
  static Identity node;
  return node;
}

// The way to this process itself.
class LocalAccess final : public HOQAccessProviderPrototype {
 public:
  HOQEID getEID() const override { return nodeEID(); }
};

void fillRandom(void* bytes, std::size_t count) {
  char* at = static_cast<char*>(bytes);
  while (count > 0) {
    const ssize_t got = ::getrandom(at, count, 0);
    if (got < 0) {
      const int cause = errno;
      if (cause == EINTR) continue;
      throw std::system_error(cause, std::generic_category(), "no random identifier");
    }
    at += got;
    count -= static_cast<std::size_t>(got);
  }
}

int valueOf(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace

HOQEID nodeEID() {
  Identity& node = identity();
  const std::lock_guard<std::mutex> lock(node.mutex);
  if (!node.eid.isValid()) node.eid = newEID();
  return node.eid;
}

void setNodeEID(const HOQEID& eid) {
  Identity& node = identity();
  const std::lock_guard<std::mutex> lock(node.mutex);
  node.eid = eid;
}

HOQEID newEID() {
  std::uint64_t halves[2];
  fillRandom(halves, sizeof halves);
  constexpr std::uint64_t kVersion = std::uint64_t{4} << 12;
  constexpr std::uint64_t kVariant = std::uint64_t{2} << 62;
  return HOQEID((halves[0] & ~(std::uint64_t{0xF} << 12)) | kVersion,
                (halves[1] & ~(std::uint64_t{3} << 62)) | kVariant);
}

std::string toText(const HOQEID& eid) {
  char text[kDigits + 1];
  std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(eid.high()),
                static_cast<unsigned long long>(eid.low()));
  return text;
}

HOQEID eidFromText(const std::string& text) {
  if (text.size() != kDigits) return HOQEID::EID_INVALID;
  std::uint64_t halves[2] = {0, 0};
  for (std::size_t at = 0; at < kDigits; ++at) {
    const int value = valueOf(text[at]);
    if (value < 0) return HOQEID::EID_INVALID;
    std::uint64_t& half = halves[at / (kDigits / 2)];
    half = half << 4 | static_cast<std::uint64_t>(value);
  }
  return HOQEID(halves[0], halves[1]);
}

const std::string& kernelName() {
  static const std::string name = [] {
    std::string line;
    std::ifstream file("/proc/sys/kernel/random/boot_id");  // made when the system starts
    std::getline(file, line);
    return line;
  }();
  return name;
}

boost::intrusive_ptr<HOQAccessProviderPrototype> localAccess() {
  static const boost::intrusive_ptr<HOQAccessProviderPrototype> access(new LocalAccess);
  return access;
}

}  // namespace HOQ
