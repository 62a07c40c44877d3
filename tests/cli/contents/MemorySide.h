#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "contents/Side.h"

namespace HOQ::cli::test {

/// Files and directories in memory, shared by the sides that are made of it. What it is asked for
/// is logged; a hook sees each call first, and may throw.
struct MemoryStore {
  struct Item {
    bool directory = false;
    std::string data;
    std::uint32_t mode = 0;
    std::int64_t mtime = 0;
  };

  std::recursive_mutex mutex;  // guards what follows: two threads carry
  std::map<std::string, Item> items{{"/", {true, "", 0755, 0}}};
  std::map<std::string, std::vector<std::string>> extraNames;  // that a listing gives as well
  std::vector<std::string> log;
  std::function<void(const std::string& call)> hook;

  void file(const std::string& path, const std::string& data, std::uint32_t mode = 0644) {
    items[path] = {false, data, mode, 1};
  }
  void directory(const std::string& path) { items[path] = {true, "", 0755, 1}; }
  /// Contents of files by path, "/" for directories.
  std::map<std::string, std::string> contents() const;
  int count(const std::string& call) const;
};

class MemorySide : public Side {
 public:
  explicit MemorySide(std::shared_ptr<MemoryStore> store) : store_(std::move(store)) {}

  Entries list(const std::string& directory) override;
  std::map<std::string, Attributes> examine(const std::string& directory,
                                            const std::vector<std::string>& names,
                                            bool follow) override;
  void read(std::vector<ReadPiece>& pieces) override;
  void write(std::vector<WritePiece>& pieces) override;
  std::int64_t makeDirectory(const std::string& path, std::uint32_t mode) override;
  bool makePrivate(const std::string& outer, const std::string& inner) override;
  void chmod(const std::vector<std::string>& paths, std::uint32_t mode) override;
  std::uint32_t reduced(std::uint32_t mode) const override { return mode & ~022U; }
  bool keepsTimes() const override { return true; }
  void setTime(const std::string& path, std::int64_t mtime) override;
  void settle(const std::string& directory, const std::vector<std::string>& names) override;
  void moveInto(const std::vector<std::string>& paths, const std::string& directory,
                bool replace) override;
  void renameDirectory(const std::string& from, const std::string& to) override;
  void remove(const std::string& path, bool tree) override;

 private:
  using Lock = std::unique_lock<std::recursive_mutex>;

  Lock called(const std::string& call);
  MemoryStore::Item& require(const std::string& path);

  const std::shared_ptr<MemoryStore> store_;
};

}  // namespace HOQ::cli::test
