#include "routine/FilterMatch.h"

#include <fnmatch.h>

namespace HOQ {

bool MatchString(const char* a, const std::string& b) { return fnmatch(a, b.c_str(), 0) == 0; }

bool MatchFilter::operator()(const struct stat* st, const HOQFileFilter& f) const {
  if (f.isValid(HOQFileFilter::kUid) && f.uid != st->st_uid) return true;
  if (f.isValid(HOQFileFilter::kUidMin) && f.uidMin > st->st_uid) return true;
  if (f.uidMax < st->st_uid) return true;
  if (f.isValid(HOQFileFilter::kGid) && f.gid != st->st_gid) return true;
  if (f.isValid(HOQFileFilter::kGidMin) && f.gidMin > st->st_gid) return true;
  if (f.gidMax < st->st_gid) return true;
  return f.isValid(HOQFileFilter::kNamePattern) && name_ && MatchString(name_, f.namePattern);
}

bool MatchUG::operator()(const HOQFileFilter& f) const {
  if (user_ && f.isValid(HOQFileFilter::kUserPattern) && MatchString(user_, f.userPattern))
    return true;
  return group_ && f.isValid(HOQFileFilter::kGroupPattern) && MatchString(group_, f.groupPattern);
}

bool NotMatchFilter::operator()(const struct stat* st, const HOQFileFilter& f) const {
  if (f.isValid(HOQFileFilter::kTimeMin) && f.timeMin > st->st_ctime) return true;
  if (f.isValid(HOQFileFilter::kTimeMax) && f.timeMax < st->st_ctime) return true;
  if (f.isValid(HOQFileFilter::kSizeMin) && f.sizeMin > st->st_size) return true;
  if (f.isValid(HOQFileFilter::kSizeMax) && f.sizeMax < st->st_size) return true;
  return f.isValid(HOQFileFilter::kType) && f.type != (st->st_mode & S_IFMT) >> 12;
}

void FilterConvert::operator()(char* flags, const HOQFileFilter& f) const {
  if (f.isValid(HOQFileFilter::kUserPattern) && !f.userPattern.empty()) *flags |= kUserFlag;
  if (f.isValid(HOQFileFilter::kGroupPattern) && !f.groupPattern.empty()) *flags |= kGroupFlag;
}

}  // namespace HOQ
