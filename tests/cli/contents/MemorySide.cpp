#include "cli/contents/MemorySide.h"

#include <hoq/HOQFileType.h>

#include <algorithm>
#include <cstring>

#include "PathText.h"

namespace HOQ::cli::test {
namespace {

bool isBelow(const std::string& path, const std::string& directory) {
  return path.size() > directory.size() && path.compare(0, directory.size(), directory) == 0 &&
         (directory == "/" || path[directory.size()] == '/');
}

Attributes attributesOf(const MemoryStore::Item& item) {
  Attributes attributes;
  attributes.kind = item.directory ? HOQFileType::kDirectory : HOQFileType::kRegular;
  attributes.size = item.data.size();
  attributes.mode = item.mode;
  attributes.mtime = item.mtime;
  return attributes;
}

}  // namespace

std::map<std::string, std::string> MemoryStore::contents() const {
  std::map<std::string, std::string> found;
  for (const auto& [path, item] : items)
    if (path != "/") found[path] = item.directory ? "/" : item.data;
  return found;
}

int MemoryStore::count(const std::string& call) const {
  return static_cast<int>(std::count_if(log.begin(), log.end(), [&](const std::string& line) {
    return line.compare(0, call.size(), call) == 0;
  }));
}

MemorySide::Lock MemorySide::called(const std::string& call) {
  Lock lock(store_->mutex);
  store_->log.push_back(call);
  if (store_->hook) store_->hook(call);
  return lock;
}

MemoryStore::Item& MemorySide::require(const std::string& path) {
  const auto found = store_->items.find(path);
  if (found == store_->items.end()) throw SideError("no " + path);
  return found->second;
}

Entries MemorySide::list(const std::string& directory) {
  const Lock lock = called("list " + directory);
  (void)require(directory);
  Entries entries;
  for (const auto& [path, item] : store_->items)
    if (path != "/" && parentOf(path) == directory)
      entries.found.push_back({leafOf(path), attributesOf(item)});
  for (const std::string& name : store_->extraNames[directory])
    entries.found.push_back({name, attributesOf({false, "evil", 0644, 1})});
  return entries;
}

std::map<std::string, Attributes> MemorySide::examine(const std::string& directory,
                                                      const std::vector<std::string>& names, bool) {
  const Lock lock = called("examine " + directory);
  std::map<std::string, Attributes> found;
  for (const std::string& name : names) {
    const auto item = store_->items.find(join(directory, name));
    if (item != store_->items.end()) found[name] = attributesOf(item->second);
  }
  return found;
}

void MemorySide::read(std::vector<ReadPiece>& pieces) {
  const Lock lock = called("read " + std::to_string(pieces.size()));
  for (ReadPiece& piece : pieces) {
    const auto found = store_->items.find(piece.path);
    if (found == store_->items.end()) {
      piece.error = "no " + piece.path;
      continue;
    }
    const std::string& data = found->second.data;
    const std::size_t begin = std::min<std::size_t>(piece.offset, data.size());
    piece.got = std::min(piece.wanted, data.size() - begin);
    std::memcpy(piece.buffer, data.data() + begin, piece.got);
  }
}

void MemorySide::write(std::vector<WritePiece>& pieces) {
  const Lock lock = called("write " + std::to_string(pieces.size()));
  for (WritePiece& piece : pieces) {
    const auto found = store_->items.find(piece.path);
    const bool there = found != store_->items.end();
    if (store_->items.count(parentOf(piece.path)) == 0 || (there && found->second.directory) ||
        (there && piece.offset == 0 && !piece.replace)) {
      piece.error = "cannot make " + piece.path;
      continue;
    }
    MemoryStore::Item& item = store_->items[piece.path];
    if (!there) item.mode = reduced(piece.mode);
    if (piece.offset == 0) item.data.clear();
    item.data.resize(std::max<std::size_t>(item.data.size(), piece.offset + piece.size));
    std::memcpy(item.data.data() + piece.offset, piece.data, piece.size);
  }
}

std::int64_t MemorySide::makeDirectory(const std::string& path, std::uint32_t mode) {
  const Lock lock = called("mkdir " + path);
  (void)require(parentOf(path));
  if (!store_->items.emplace(path, MemoryStore::Item{true, "", 0755, 0}).second)
    throw SideError("there is " + path);
  return reduced(mode) == 0755 ? kModeIsRight : reduced(mode);
}

bool MemorySide::makePrivate(const std::string& outer, const std::string& inner) {
  const Lock lock = called("private " + outer);
  (void)require(parentOf(outer));
  if (store_->items.count(outer) != 0) return false;
  store_->items[outer] = store_->items[inner] = {true, "", 0700, 0};
  return true;
}

void MemorySide::chmod(const std::vector<std::string>& paths, std::uint32_t mode) {
  const Lock lock = called("chmod");
  for (const std::string& path : paths) require(path).mode = mode;
}

void MemorySide::setTime(const std::string& path, std::int64_t mtime) {
  const Lock lock = called("time " + path);
  require(path).mtime = mtime;
}

void MemorySide::settle(const std::string& directory, const std::vector<std::string>&) {
  const Lock lock = called("settle " + directory);
}

void MemorySide::moveInto(const std::vector<std::string>& paths, const std::string& directory,
                          bool replace) {
  const Lock lock = called("move " + std::to_string(paths.size()));
  for (const std::string& path : paths) {
    const std::string target = join(directory, leafOf(path));
    (void)require(path);
    if (store_->items.count(target) != 0 && !replace) throw SideError("there is " + target);
    renameDirectory(path, target);
  }
}

void MemorySide::renameDirectory(const std::string& from, const std::string& to) {
  const Lock lock = called("rename " + from);
  (void)require(from);
  std::map<std::string, MemoryStore::Item> items;
  for (auto& [path, item] : store_->items) {
    const bool moved = path == from || isBelow(path, from);
    if (moved || path != to) items[moved ? to + path.substr(from.size()) : path] = item;
  }
  store_->items.swap(items);
}

void MemorySide::remove(const std::string& path, bool tree) {
  const Lock lock = called("remove " + path);
  (void)require(path);
  const auto below = [&](const auto& item) { return isBelow(item.first, path); };
  if (!tree && std::any_of(store_->items.begin(), store_->items.end(), below))
    throw SideError("not empty: " + path);
  std::erase_if(store_->items, [&](const auto& item) { return below(item) || item.first == path; });
}

}  // namespace HOQ::cli::test
