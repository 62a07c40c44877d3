#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace HOQ::agent {

/// Counts connections, in all and by peer, before anything else is done with them.
class Admission {
 public:
  enum class Answer { Admitted, TooMany, TooManyOfPeer };

  void setLimits(std::uint32_t inAll, std::uint32_t perPeer) {
    inAll_ = inAll;
    perPeer_ = perPeer;
  }

  /// A connection of `peer` has come. Once Admitted, release() must follow at its end.
  [[nodiscard]] Answer admit(const std::string& peer);
  void release(const std::string& peer);

  std::uint32_t count() const { return count_; }

 private:
  std::uint32_t inAll_ = 0;
  std::uint32_t perPeer_ = 0;
  std::uint32_t count_ = 0;
  std::unordered_map<std::string, std::uint32_t> byPeer_;  // only peers that have some
};

}  // namespace HOQ::agent
