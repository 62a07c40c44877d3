#include "support/MemoryFs.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace HOQ::test {
namespace {

constexpr int kLinksInAPath = 40;  // as in the Linux kernel
constexpr std::size_t kLongestName = 255;
constexpr dev_t kDevice = 7;

mode_t processUmask() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

}  // namespace

MemoryFs::MemoryFs() : root_(std::make_shared<Node>()) {
  root_->mode = S_IFDIR | 0755;
  root_->uid = geteuid();
  root_->gid = getegid();
  root_->inode = 1;
  root_->device = kDevice;
  root_->links = 2;
  root_->modified = root_->changed = tick();
  root_->parent = root_;
  const passwd* user = getpwuid(geteuid());
  users = {{user != nullptr ? user->pw_name : "someone", geteuid()}, {"nobody", 65534}};
  const group* own = getgrgid(getegid());
  groups = {{own != nullptr ? own->gr_name : "somegroup", getegid()}, {"nogroup", 65534}};
}

MemoryFs::NodePtr MemoryFs::entryOf(const Node& directory, const std::string& name) {
  const auto found = std::find_if(directory.entries.begin(), directory.entries.end(),
                                  [&](const auto& entry) { return entry.first == name; });
  return found == directory.entries.end() ? nullptr : found->second;
}

void MemoryFs::eraseEntry(Node& directory, const std::string& name) {
  const auto found = std::find_if(directory.entries.begin(), directory.entries.end(),
                                  [&](const auto& entry) { return entry.first == name; });
  directory.entries.erase(found);
}

void MemoryFs::addEntry(Node& directory, const std::string& name, const NodePtr& node) {
  directory.entries.emplace_back(name, node);
  directory.modified = directory.changed = tick();
}

int MemoryFs::walk(const std::string& path, bool followLast, int& linksLeft, Place& place) const {
  if (path.empty()) return ENOENT;
  if (path.size() >= PATH_MAX) return ENAMETOOLONG;
  return walkFrom(root_, path, followLast, linksLeft, place);
}

int MemoryFs::walkFrom(NodePtr start, const std::string& path, bool followLast, int& linksLeft,
                       Place& place) const {
  place = {path[0] == '/' ? root_ : std::move(start), "", false};
  std::size_t at = 0;
  while (true) {
    at = path.find_first_not_of('/', at);
    if (at == std::string::npos) return 0;
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string name = path.substr(at, end - at);
    const bool last = path.find_first_not_of('/', end) == std::string::npos;
    at = end;
    if (!place.directory->is(S_IFDIR)) return ENOTDIR;
    if (name.size() > kLongestName) return ENAMETOOLONG;
    if (name == ".") continue;
    if (name == "..") {
      place.directory = place.directory->parent.lock();
      continue;
    }
    const NodePtr entry = entryOf(*place.directory, name);
    const bool slashAfter = end < path.size();
    if (entry && entry->is(S_IFLNK) && (!last || followLast || slashAfter)) {
      if (linksLeft-- == 0) return ELOOP;
      const std::string rest = path.substr(end);
      return walkFrom(place.directory, entry->text + rest, followLast, linksLeft, place);
    }
    if (last) {
      place.name = name;
      place.mustBeDirectory = slashAfter;
      return 0;
    }
    if (!entry) return ENOENT;
    place.directory = entry;
  }
}

int MemoryFs::lookUp(const std::string& path, bool followLast, NodePtr& node) const {
  Place place;
  int linksLeft = kLinksInAPath;
  if (const int error = walk(path, followLast, linksLeft, place)) return error;
  const NodePtr found =
      place.name.empty() ? place.directory : entryOf(*place.directory, place.name);
  if (!found) return ENOENT;
  if (place.mustBeDirectory && !found->is(S_IFDIR)) return ENOTDIR;
  node = found;
  return 0;
}

int MemoryFs::create(const std::string& path, mode_t mode, NodePtr& node) {
  Place place;
  int linksLeft = kLinksInAPath;
  if (const int error = walk(path, false, linksLeft, place)) return error;
  if (place.name.empty() || entryOf(*place.directory, place.name)) return EEXIST;
  if (place.mustBeDirectory && (mode & S_IFMT) != S_IFDIR) return ENOENT;
  const auto made = std::make_shared<Node>();
  made->mode = (mode & S_IFMT) | (mode & ~processUmask() & 07777);
  made->uid = geteuid();
  made->gid = getegid();
  made->inode = ++lastInode_;
  made->device = kDevice;
  made->modified = made->changed = tick();
  if (made->is(S_IFDIR)) {
    made->links = 2;
    made->parent = place.directory;
    ++place.directory->links;
  }
  addEntry(*place.directory, place.name, made);
  node = made;
  return 0;
}

int MemoryFs::makeLink(const std::string& target, const std::string& path, bool symbolic) {
  NodePtr node;
  if (symbolic) {
    if (target.empty()) return ENOENT;
    if (const int error = create(path, S_IFLNK | 0777, node)) return error;
    node->mode = S_IFLNK | 0777;
    node->text = target;
    return 0;
  }
  if (const int error = lookUp(target, false, node)) return error;
  if (node->is(S_IFDIR)) return EPERM;
  Place place;
  int linksLeft = kLinksInAPath;
  if (const int error = walk(path, false, linksLeft, place)) return error;
  if (place.name.empty() || entryOf(*place.directory, place.name)) return EEXIST;
  addEntry(*place.directory, place.name, node);
  ++node->links;
  node->changed = tick();
  return 0;
}

int MemoryFs::removeFile(const std::string& path) {
  Place place;
  int linksLeft = kLinksInAPath;
  if (const int error = walk(path, false, linksLeft, place)) return error;
  if (place.name.empty()) return EISDIR;
  const NodePtr node = entryOf(*place.directory, place.name);
  if (!node) return ENOENT;
  if (node->is(S_IFDIR)) return EISDIR;
  if (place.mustBeDirectory) return ENOTDIR;
  eraseEntry(*place.directory, place.name);
  place.directory->modified = place.directory->changed = tick();
  --node->links;
  node->changed = tick();
  return 0;
}

int MemoryFs::removeDirectory(const std::string& path) {
  Place place;
  int linksLeft = kLinksInAPath;
  if (const int error = walk(path, false, linksLeft, place)) return error;
  if (place.name.empty()) return place.directory == root_ ? EBUSY : EINVAL;
  const NodePtr node = entryOf(*place.directory, place.name);
  if (!node) return ENOENT;
  if (!node->is(S_IFDIR)) return ENOTDIR;
  if (!node->entries.empty()) return ENOTEMPTY;
  eraseEntry(*place.directory, place.name);
  --place.directory->links;
  place.directory->modified = place.directory->changed = tick();
  return 0;
}

bool MemoryFs::isBelow(NodePtr node, const NodePtr& ancestor) {
  while (true) {
    if (node == ancestor) return true;
    const NodePtr parent = node->parent.lock();
    if (parent == node) return false;
    node = parent;
  }
}

int MemoryFs::rename(const std::string& from, const std::string& to) {
  Place source;
  Place target;
  int linksLeft = kLinksInAPath;
  if (const int error = walk(from, false, linksLeft, source)) return error;
  linksLeft = kLinksInAPath;
  if (const int error = walk(to, false, linksLeft, target)) return error;
  if (source.name.empty() || target.name.empty()) return EBUSY;
  const NodePtr node = entryOf(*source.directory, source.name);
  if (!node) return ENOENT;
  const bool directory = node->is(S_IFDIR);
  if (!directory && (source.mustBeDirectory || target.mustBeDirectory)) return ENOTDIR;
  if (directory && isBelow(target.directory, node)) return EINVAL;
  if (const NodePtr old = entryOf(*target.directory, target.name)) {
    if (old == node) return 0;
    if (directory && !old->is(S_IFDIR)) return ENOTDIR;
    if (!directory && old->is(S_IFDIR)) return EISDIR;
    if (!old->entries.empty()) return ENOTEMPTY;
    eraseEntry(*target.directory, target.name);
    if (directory) --target.directory->links;
    --old->links;
  }
  eraseEntry(*source.directory, source.name);
  source.directory->modified = source.directory->changed = tick();
  addEntry(*target.directory, target.name, node);
  if (directory) {
    --source.directory->links;
    ++target.directory->links;
    node->parent = target.directory;
  }
  node->changed = tick();
  return 0;
}

struct stat MemoryFs::describe(const Node& node) {
  struct stat info {};
  info.st_mode = node.mode;
  info.st_uid = node.uid;
  info.st_gid = node.gid;
  info.st_ino = node.inode;
  info.st_dev = node.device;
  info.st_rdev = node.special;
  info.st_nlink = node.links;
  info.st_size = node.is(S_IFDIR) ? 4096 : static_cast<off_t>(node.text.size());
  info.st_mtim.tv_sec = node.modified;
  info.st_ctim.tv_sec = node.changed;
  return info;
}

}  // namespace HOQ::test
