#include "support/MemoryRoutine.h"

#include <fcntl.h>
#include <hoq/HOQAssert.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "routine/FilterMatch.h"

namespace HOQ::test {
namespace {

constexpr std::uint32_t kNone = 0xFFFFFFFF;
constexpr unsigned kFromStat = 0x5EB;  // fields that the stat buffer alone gives
constexpr int kTargetExists = 2055;

struct Owner {
  std::uint32_t uid;
  std::uint32_t gid;
};

struct Listing {
  MemoryFs::NodePtr directory;
  std::vector<std::string> names;  // as they were when it was opened
  std::size_t next = 0;
};

/// Results in the system's manner: 0, or -1 with errno.
int done(int error) {
  if (error == 0) return 0;
  errno = error;
  return -1;
}

bool idOf(const std::vector<MemoryFs::Name>& table, const char* name, std::uint32_t& id) {
  const auto row = std::find_if(table.begin(), table.end(),
                                [name](const MemoryFs::Name& known) { return known.name == name; });
  if (row == table.end()) return false;
  id = row->id;
  return true;
}

bool nameOfId(const std::vector<MemoryFs::Name>& table, std::uint32_t id, std::string& name) {
  const auto row = std::find_if(table.begin(), table.end(),
                                [id](const MemoryFs::Name& known) { return known.id == id; });
  if (row == table.end()) return false;
  name = row->name;
  return true;
}

bool isSpecial(mode_t mode) {
  return S_ISFIFO(mode) || S_ISCHR(mode) || S_ISBLK(mode) || S_ISSOCK(mode);
}

}  // namespace

int MemoryRoutine::convown(const char* user, const char* group, void*& owner) {
  Owner ids{kNone, kNone};
  if (user != nullptr && !idOf(fs_.users, user, ids.uid)) return -1;
  if (group != nullptr && !idOf(fs_.groups, group, ids.gid)) return -1;
  owner = new Owner(ids);
  return 0;
}

int MemoryRoutine::convown(unsigned uid, unsigned gid, void*& owner) {
  owner = new Owner{uid, gid};
  return 0;
}

int MemoryRoutine::getown(void*& owner) {
  if (stat() != 0) return -1;
  return convown(statBuffer.st_uid, statBuffer.st_gid, owner);
}

int MemoryRoutine::convown(void* owner, std::string& user, std::string& group) {
  const Owner& ids = *static_cast<Owner*>(owner);
  if (ids.uid != kNone && !nameOfId(fs_.users, ids.uid, user)) return -1;
  if (ids.gid != kNone && !nameOfId(fs_.groups, ids.gid, group)) return -1;
  return 0;
}

int MemoryRoutine::convown(void* owner, unsigned& uid, unsigned& gid) {
  const Owner& ids = *static_cast<Owner*>(owner);
  uid = ids.uid;
  gid = ids.gid;
  return 0;
}

int MemoryRoutine::chown(void* owner) {
  MemoryFs::NodePtr node;
  if (const int error = fs_.lookUp(path, true, node)) return done(error);
  const Owner& ids = *static_cast<Owner*>(owner);
  if (ids.uid != kNone) node->uid = ids.uid;
  if (ids.gid != kNone) node->gid = ids.gid;
  if (!node->is(S_IFDIR)) {
    node->mode &= ~static_cast<mode_t>(S_ISUID);
    if ((node->mode & S_IXGRP) != 0) node->mode &= ~static_cast<mode_t>(S_ISGID);
  }
  node->changed = fs_.tick();
  if (!isLink() && (statBuffer.st_mode & (S_ISUID | S_ISGID)) != 0)
    return chmod(static_cast<int>(statBuffer.st_mode));
  return 0;
}

int MemoryRoutine::freeown(void* owner) {
  delete static_cast<Owner*>(owner);
  return 0;
}

int MemoryRoutine::chmod(int mode) {
  MemoryFs::NodePtr node;
  if (const int error = fs_.lookUp(path, true, node)) return done(error);
  node->mode = (node->mode & S_IFMT) | (static_cast<mode_t>(mode) & 07777);
  node->changed = fs_.tick();
  return 0;
}

int MemoryRoutine::link(const char* target, bool symbolic) {
  return done(fs_.makeLink(target, path, symbolic));
}

int MemoryRoutine::readlink(char* buf, unsigned long size) {
  constexpr unsigned long kScratch = 4096;
  if (size == 0) size = kScratch;
  MemoryFs::NodePtr node;
  if (const int error = fs_.lookUp(path, false, node)) return done(error);
  if (!node->is(S_IFLNK) || size == 1) return done(EINVAL);
  const std::size_t count = std::min<std::size_t>(node->text.size(), size - 1);
  if (buf != nullptr) {
    std::memcpy(buf, node->text.data(), count);
    buf[count] = '\0';
  }
  return static_cast<int>(count) + 1;
}

int MemoryRoutine::remove() {
  MemoryFs::NodePtr node;
  if (const int error = fs_.lookUp(path, false, node)) return done(error);
  return node->is(S_IFDIR) ? rmdir() : rmitem();
}

int MemoryRoutine::rmdir() { return done(fs_.removeDirectory(path)); }

int MemoryRoutine::rmitem() { return done(fs_.removeFile(path)); }

int MemoryRoutine::creationMode() const {
  return securityAttributes != nullptr ? securityAttributes->value & 07777 : 0777;
}

int MemoryRoutine::mkdir(HOQFileRoutine* from) {
  MemoryFs::NodePtr node;
  const int result = done(fs_.create(path, S_IFDIR | static_cast<mode_t>(creationMode()), node));
  const int error = errno;
  if (result == 0 && error != EEXIST && from != nullptr) return cpOptions(from);
  return error == EEXIST ? kTargetExists : result;
}

int MemoryRoutine::copy(HOQFileRoutine& dst) {
  if (!isSpecial(statBuffer.st_mode)) return 1;
  if (getType() != dst.getType()) return 0;
  MemoryFs::NodePtr node;
  if (const int error = fs_.create(dst.path, statBuffer.st_mode, node)) return done(error);
  node->special = statBuffer.st_rdev;
  return 0;
}

int MemoryRoutine::move(HOQFileRoutine& dst) {
  const int copied = copy(dst);
  if (copied == 0) return done(fs_.removeFile(path));
  if (copied != 1) return copied;
  if (getType() != dst.getType() || statBuffer.st_dev != dst.statBuffer.st_dev) return 1;
  return done(fs_.rename(path, dst.path));
}

int MemoryRoutine::stat() {
  MemoryFs::NodePtr node;
  if (const int error = fs_.lookUp(path, followLinks, node)) return done(error);
  statBuffer = MemoryFs::describe(*node);
  if (isDir()) statBuffer.st_size = 0;
  return 0;
}

bool MemoryRoutine::caught(const char* name) const {
  if (filters == nullptr) return false;
  const MatchFilter catches(name);
  return std::any_of(filters->begin(), filters->end(),
                     [&](const HOQFileFilter& filter) { return catches(&statBuffer, filter); });
}

bool MemoryRoutine::anyOwnerPattern(bool ofUser) const {
  if (filters == nullptr) return false;
  const char wanted = ofUser ? 1 : 2;
  char flags = 0;
  for (const HOQFileFilter& filter : *filters) FilterConvert()(&flags, filter);
  return (flags & wanted) != 0;
}

bool MemoryRoutine::caughtByOwner(const std::string& user, const std::string& group) const {
  const MatchUG catches(anyOwnerPattern(true) && !user.empty() ? user.c_str() : nullptr,
                        anyOwnerPattern(false) && !group.empty() ? group.c_str() : nullptr);
  return std::any_of(filters->begin(), filters->end(), catches);
}

int MemoryRoutine::fill(HOQFileType& info, const char* name, bool keepName, unsigned mask) {
  const bool filtering = filters != nullptr && !filters->empty();
  std::string stored = name;
  if (!keepName && (filtering || (mask & HOQFileType::kName) != 0)) {
    stored.erase(0, stored.rfind('/') + 1);
    if (stored.empty()) stored = path;
  }
  info.name = stored;
  info.nlink = static_cast<std::uint32_t>(statBuffer.st_nlink);
  info.size = static_cast<std::uint64_t>(statBuffer.st_size);
  info.mtime = statBuffer.st_mtim.tv_sec;
  info.permissions = statBuffer.st_mode & 07777;
  info.type = (statBuffer.st_mode & S_IFMT) >> 12;
  info.uid = statBuffer.st_uid;
  info.gid = statBuffer.st_gid;
  info.setValid(mask & kFromStat);
  if (caught(keepName ? nullptr : stored.c_str())) return 1;
  if ((mask & HOQFileType::kLinkTarget) != 0 && readlinkS(info.linkTarget) == 0)
    info.setValid(HOQFileType::kLinkTarget);
  if (isReg() && (mask & HOQFileType::kContentType) != 0) {
    info.setValid(HOQFileType::kContentType);
    info.contentType = "application/octet-stream; charset=binary";
  }
  const bool patterns = anyOwnerPattern(true) || anyOwnerPattern(false);
  if ((mask & (HOQFileType::kUser | HOQFileType::kGroup)) == 0 && !patterns) return 0;
  std::string user;
  std::string group;
  Owner owner{statBuffer.st_uid, statBuffer.st_gid};
  (void)convown(&owner, user, group);  // what is not known stays empty
  if ((!user.empty() || !group.empty()) && patterns && caughtByOwner(user, group)) return 1;
  if ((mask & HOQFileType::kUser) != 0) {
    info.user = user.empty() ? "unknown" : user;
    info.setValid(HOQFileType::kUser);
  }
  if ((mask & HOQFileType::kGroup) != 0) {
    info.group = group.empty() ? "unknown" : group;
    info.setValid(HOQFileType::kGroup);
  }
  return 0;
}

int MemoryRoutine::open(int flags) {
  MemoryFs::NodePtr node;
  const int found = fs_.lookUp(path, (flags & (O_EXCL | O_NOFOLLOW)) == 0, node);
  const bool writing = (flags & O_ACCMODE) != O_RDONLY;
  if (found == ENOENT && (flags & O_CREAT) != 0) {
    const mode_t mode = S_IFREG | static_cast<mode_t>(creationMode());
    if (const int error = fs_.create(path, mode, node)) return done(error);
  } else if (found != 0) {
    return done(found);
  } else if ((flags & (O_CREAT | O_EXCL)) == (O_CREAT | O_EXCL)) {
    return done(EEXIST);
  } else if (node->is(S_IFLNK)) {
    return done(ELOOP);
  } else if (node->is(S_IFDIR) && (writing || (flags & O_CREAT) != 0)) {
    return done(EISDIR);
  }
  if ((flags & O_TRUNC) != 0 && writing) {
    node->text.clear();
    node->modified = node->changed = fs_.tick();
  }
  file_ = node;
  openFlags_ = flags;
  position_ = 0;
  return errno == EEXIST ? 1 : 0;
}

int MemoryRoutine::close() {
  if (!file_) return done(EBADF);
  file_.reset();
  return 0;
}

long MemoryRoutine::read(char* buf, int len) {
  if (!file_ || (openFlags_ & O_ACCMODE) == O_WRONLY) return done(EBADF);
  if (file_->is(S_IFDIR)) return done(EISDIR);
  if (position_ >= file_->text.size()) return 0;
  const std::size_t count = std::min(static_cast<std::size_t>(len), file_->text.size() - position_);
  std::memcpy(buf, file_->text.data() + position_, count);
  position_ += count;
  return static_cast<long>(count);
}

long MemoryRoutine::write(const char* buf, int len) {
  if (!file_ || (openFlags_ & O_ACCMODE) == O_RDONLY) return done(EBADF);
  if ((openFlags_ & O_APPEND) != 0) position_ = file_->text.size();
  const auto count = static_cast<std::size_t>(len);
  if (file_->text.size() < position_ + count) file_->text.resize(position_ + count, '\0');
  std::memcpy(file_->text.data() + position_, buf, count);
  position_ += count;
  file_->modified = file_->changed = fs_.tick();
  return len;
}

int MemoryRoutine::seek(long long offset) {
  if (!file_) return -1;
  if (offset < 0) return done(EINVAL);
  position_ = static_cast<std::size_t>(offset);
  return 0;
}

int MemoryRoutine::opendir(void*& handle) {
  MemoryFs::NodePtr node;
  if (const int error = fs_.lookUp(path, true, node)) return done(error);
  if (!node->is(S_IFDIR)) return done(ENOTDIR);
  auto* listing = new Listing{node, {".", ".."}, 0};
  for (const auto& entry : node->entries) listing->names.push_back(entry.first);
  handle = listing;
  return 0;
}

const char* MemoryRoutine::namedir(void* handle) {
  const Listing& listing = *static_cast<Listing*>(handle);
  HOQ_ASSERT(listing.next > 0 && listing.next <= listing.names.size());
  return listing.names[listing.next - 1].c_str();
}

int MemoryRoutine::readdir(void* handle) {
  Listing& listing = *static_cast<Listing*>(handle);
  if (listing.next > listing.names.size()) return -1;
  return listing.next++ < listing.names.size() ? 0 : -1;
}

int MemoryRoutine::closedir(void* handle) {
  delete static_cast<Listing*>(handle);
  return 0;
}

int MemoryRoutine::getLastError(HOQRequestErrorData& err) {
  err.code = errno;
  err.message = std::strerror(err.code);
  return err.code;
}

}  // namespace HOQ::test
