#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace HOQ::test {

/// A file system in memory that answers as the real one does to root: the same results and error
/// numbers, no permission checks. Time is a counter that every change advances. Entries of a
/// directory come in the order in which they were made. Paths without a leading "/" start at the
/// root. One thread.
class MemoryFs {
 public:
  struct Node;
  using NodePtr = std::shared_ptr<Node>;

  struct Node {
    mode_t mode = 0;  // with the type bits
    std::uint32_t uid = 0;
    std::uint32_t gid = 0;
    ino_t inode = 0;
    dev_t device = 0;
    dev_t special = 0;
    nlink_t links = 1;
    std::int64_t modified = 0;  // the counter's values
    std::int64_t changed = 0;
    std::string text;  // contents of a file, target of a link
    std::vector<std::pair<std::string, NodePtr>> entries;
    std::weak_ptr<Node> parent;  // of a directory

    bool is(mode_t type) const { return (mode & S_IFMT) == type; }
  };

  /// One row of the users or groups that this system knows.
  struct Name {
    std::string name;
    std::uint32_t id;
  };

  MemoryFs();

  // 0, or an error number.
  int lookUp(const std::string& path, bool followLast, NodePtr& node) const;
  int create(const std::string& path, mode_t mode, NodePtr& node);  // anything but links
  int makeLink(const std::string& target, const std::string& path, bool symbolic);
  int removeFile(const std::string& path);
  int removeDirectory(const std::string& path);
  int rename(const std::string& from, const std::string& to);

  /// What stat(2) says of a node.
  static struct stat describe(const Node& node);

  std::int64_t tick() { return ++clock_; }

  std::vector<Name> users;   // at first: this process's user and group,
  std::vector<Name> groups;  // under the names that the system has for them, and "nobody"

 private:
  struct Place {
    NodePtr directory;
    std::string name;  // of the last component; empty: the path is the directory itself
    bool mustBeDirectory = false;
  };

  int walk(const std::string& path, bool followLast, int& linksLeft, Place& place) const;
  int walkFrom(NodePtr start, const std::string& path, bool followLast, int& linksLeft,
               Place& place) const;
  static NodePtr entryOf(const Node& directory, const std::string& name);
  static void eraseEntry(Node& directory, const std::string& name);
  void addEntry(Node& directory, const std::string& name, const NodePtr& node);
  static bool isBelow(NodePtr node, const NodePtr& ancestor);

  NodePtr root_;
  std::int64_t clock_ = 1'000'000;
  ino_t lastInode_ = 1;
};

}  // namespace HOQ::test
