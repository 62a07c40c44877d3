#pragma once

#include <cstdint>
#include <string>

namespace HOQ {

/// One filter of a list request. Its tests are of things that an entry must not be: a list of
/// filters lets an entry pass only when no filter catches it. A test counts when its bit is set
/// in `valid`; the two maximum ids always count, so a fresh filter has them at their largest.
struct HOQFileFilter {
  enum ValidMask : std::uint32_t {
    kType = 1,
    kUserPattern = 2,
    kUid = 4,
    kUidMin = 8,
    kGroupPattern = 16,
    kGid = 32,
    kGidMin = 64,
    kTimeMin = 128,
    kTimeMax = 256,
    kSizeMax = 512,  // crossed with the next on purpose: other nodes send it so
    kSizeMin = 1024,
    kNamePattern = 2048,
  };

  bool isValid(std::uint32_t bit) const { return (valid & bit) != 0; }

  std::uint32_t type = 0;   // caught: another type (HOQFileType::Kind)
  std::string userPattern;  // caught: an owner whose name, taken as pattern, matches this text
  std::uint32_t uid = 0;    // caught: another owner
  std::uint32_t uidMin = 0;
  std::uint32_t uidMax = 0xFFFFFFFF;
  std::string groupPattern;
  std::uint32_t gid = 0;
  std::uint32_t gidMin = 0;
  std::uint32_t gidMax = 0xFFFFFFFF;
  std::int64_t timeMin = 0;  // seconds; compared with the time of the last status change
  std::int64_t timeMax = 0;
  std::int64_t sizeMin = 0;  // bytes
  std::int64_t sizeMax = 0;
  std::string namePattern;  // caught: a name that, taken as pattern, matches this text
  std::uint32_t valid = 0;
};

}  // namespace HOQ
