#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include <hoq/HOQExport.h>

namespace HOQ {

/// What is known of one file: a record of list and stat. `valid` says which fields a request asked
/// for and got; numbers that nobody set are 0.
struct HOQ_EXPORT HOQFileType {
  /// The bits of a request's field mask and of `valid`.
  enum Field : std::uint32_t {
    kType = 0x1,
    kPermissions = 0x2,
    kUser = 0x4,
    kUid = 0x8,
    kGroup = 0x10,
    kGid = 0x20,
    kSize = 0x40,
    kMtime = 0x80,
    kNlink = 0x100,
    kLinkTarget = 0x200,
    kName = 0x400,
    kContentType = 0x800,
  };

  /// Values of `type`: the file type bits of st_mode, shifted down by 12.
  enum Kind : std::uint32_t {
    kFifo = 1,
    kCharacterDevice = 2,
    kDirectory = 4,
    kBlockDevice = 6,
    kRegular = 8,
    kLink = 10,
    kSocket = 12,
  };

  HOQFileType() = default;
  HOQFileType(const HOQFileType&) = default;
  HOQFileType& operator=(const HOQFileType&) = default;
  /// Takes a tree of any depth apart without recursion.
  ~HOQFileType();

  /// Marks fields as filled. Never unmarks one.
  void setValid(std::uint32_t fields) { valid |= fields; }

  std::vector<boost::shared_ptr<HOQFileType>> children;  // contents of a directory, in a tree
  std::string name;
  std::uint32_t type = 0;         // a Kind
  std::uint32_t permissions = 0;  // st_mode & 07777
  std::string user;
  std::uint32_t uid = 0;
  std::string group;
  std::uint32_t gid = 0;
  std::uint64_t size = 0;  // bytes; of a directory 0, or the sum beneath it where asked for
  std::int64_t mtime = 0;  // seconds since 1970
  std::uint32_t nlink = 0;
  std::string linkTarget;
  std::string contentType;
  std::vector<long long> sizes;
  std::uint32_t valid = 0;
};

}  // namespace HOQ
