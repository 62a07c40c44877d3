// The Linux routine's information records.
#include <algorithm>
#include <cstring>

#include "routine/ContentType.h"
#include "routine/ContentTypes.h"
#include "routine/FilterMatch.h"
#include "routine/HOQFileRoutineLin.h"

namespace HOQ {
namespace {

constexpr int kCaught = 1;
constexpr char kUnknownName[] = "unknown";

/// The fields that the stat buffer gives. They are always written; a request's mask says which of
/// them are marked valid.
constexpr unsigned kStatFields = HOQFileType::kType | HOQFileType::kPermissions |
                                 HOQFileType::kUid | HOQFileType::kGid | HOQFileType::kSize |
                                 HOQFileType::kMtime | HOQFileType::kNlink | HOQFileType::kName;

/// What is known of an entry that only the kind was asked of.
constexpr unsigned kKindFields = HOQFileType::kType | HOQFileType::kName;

constexpr unsigned kOwnerNames = HOQFileType::kUser | HOQFileType::kGroup;

}  // namespace

int HOQFileRoutineLin::fill(HOQFileType& info, const char* name, bool keepName, unsigned mask) {
  const bool hasFilters = filters && !filters->empty();
  if (!keepName && (hasFilters || (mask & HOQFileType::kName))) {
    if (const char* slash = std::strrchr(name, '/')) name = slash + 1;
    if (!*name) name = path.c_str();
  }
  info.name = name;
  fillFromStat(info, mask);
  if (hasFilters && caughtByFilters(keepName ? nullptr : name)) return kCaught;

  // Where links are followed, the stat buffer does not tell them from what they lead to.
  const bool mayBeLink = followLinks || isLink();
  if ((mask & HOQFileType::kLinkTarget) && mayBeLink && readlinkS(info.linkTarget) == 0)
    info.setValid(HOQFileType::kLinkTarget);
  const bool typed = (mask & HOQFileType::kContentType) && info.type == HOQFileType::kRegular;
  if (typed) info.setValid(HOQFileType::kContentType);
  if (typed && !contentTypes) storeContentType(path, info.contentType);
  const bool named = (mask & kOwnerNames) || ugFilterFlags != 0;
  const int result = named ? fillOwners(info, mask) : 0;
  if (typed && contentTypes && result == 0) contentTypes->add(path, info.contentType);
  return result;
}

void HOQFileRoutineLin::fillFromStat(HOQFileType& info, unsigned mask) const {
  info.type = (statBuffer.st_mode & S_IFMT) >> 12;
  info.permissions = statBuffer.st_mode & 07777;
  info.uid = statBuffer.st_uid;
  info.gid = statBuffer.st_gid;
  info.size = static_cast<std::uint64_t>(statBuffer.st_size);
  info.mtime = statBuffer.st_mtime;
  info.nlink = static_cast<std::uint32_t>(statBuffer.st_nlink);
  info.setValid(mask & (kindOnly ? kKindFields : kStatFields));
}

int HOQFileRoutineLin::fillOwners(HOQFileType& info, unsigned mask) {
  // The stat buffer is current, so the owner is in it: no further examination of the path.
  std::string user;
  std::string group;
  (void)namesOf(Gids{statBuffer.st_uid, statBuffer.st_gid}, user, group);  // unknown: stay empty
  if (!(user.empty() && group.empty()) && caughtByOwnerFilters(user, group)) return kCaught;

  if (mask & HOQFileType::kUser) {
    info.user = user.empty() ? kUnknownName : std::move(user);
    info.setValid(HOQFileType::kUser);
  }
  if (mask & HOQFileType::kGroup) {
    info.group = group.empty() ? kUnknownName : std::move(group);
    info.setValid(HOQFileType::kGroup);
  }
  return 0;
}

bool HOQFileRoutineLin::caughtByFilters(const char* name) const {
  const MatchFilter caught(name);
  return std::any_of(filters->begin(), filters->end(),
                     [&](const HOQFileFilter& filter) { return caught(&statBuffer, filter); });
}

bool HOQFileRoutineLin::caughtByOwnerFilters(const std::string& user,
                                             const std::string& group) const {
  if (ugFilterFlags == 0 || !filters) return false;
  const bool testUser = (ugFilterFlags & FilterConvert::kUserFlag) && !user.empty();
  const bool testGroup = (ugFilterFlags & FilterConvert::kGroupFlag) && !group.empty();
  const MatchUG caught(testUser ? user.c_str() : nullptr, testGroup ? group.c_str() : nullptr);
  return std::any_of(filters->begin(), filters->end(), caught);
}

}  // namespace HOQ
