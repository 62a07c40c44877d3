#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "tls/Result.h"

namespace HOQ::tls {

/// What a pump has done so far. Written by its threads, read by any; each number for itself.
struct PumpCounters {
  static constexpr std::size_t kKinds = static_cast<std::size_t>(ErrorKind::kSystem) + 1;

  std::atomic<std::uint64_t> bytesReceived{0};
  std::atomic<std::uint64_t> bytesSent{0};
  std::atomic<std::uint64_t> handshakes{0};
  std::array<std::atomic<std::uint64_t>, kKinds> failed{};
  std::atomic<std::size_t> open{0};
  std::atomic<std::size_t> handshaking{0};
};

}  // namespace HOQ::tls
