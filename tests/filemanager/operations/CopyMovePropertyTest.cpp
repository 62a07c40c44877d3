// Random trees, from fixed seeds, survive a copy and a move whole.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "filemanager/operations/ChangesFixture.h"

namespace HOQ::test {
namespace {

constexpr unsigned kTrees = 200;
constexpr int kMostItems = 40;
constexpr unsigned kDeepest = 6;

/// Trees of every kind of item, the same for a seed on every machine.
class RandomTree {
 public:
  RandomTree(unsigned seed, std::string root) : random_(seed), root_(std::move(root)) {}

  void make() {
    ASSERT_EQ(mkdir(root_.c_str(), 0755), 0);
    fill(root_, 0);
  }

 private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  std::string name() {
    std::string text = std::to_string(items_);  // no two alike in a directory
    for (unsigned i = below(12); i > 0; --i) {
      const char byte = static_cast<char>(1 + below(255));
      if (byte != '/') text += byte;
    }
    return text;
  }

  std::string contents() {
    static constexpr unsigned kSizes[] = {0, 1, 100, 1023, 1024, 1025, 4096, 20'000};
    std::string text(kSizes[below(8)], '\0');
    for (char& byte : text) byte = static_cast<char>(random_());
    return text;
  }

  /// The owner, as far as this process may give items away.
  void give(const std::string& path) {
    if (!isRoot()) return;
    const unsigned uid = below(100'000);
    ASSERT_EQ(lchown(path.c_str(), uid, below(100'000)), 0);
  }

  void fill(const std::string& directory, unsigned depth) {
    for (unsigned count = below(9); count > 0 && items_ < kMostItems; --count) {
      ++items_;
      item(directory + "/" + name(), depth);
    }
  }

  void item(const std::string& path, unsigned depth) {
    switch (below(8)) {
      case 0:
      case 1:
      case 2:
        if (depth >= kDeepest) break;
        ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
        fill(path, depth + 1);
        give(path);
        // Without these, who is not root could not copy it.
        ASSERT_EQ(chmod(path.c_str(), 0700 | below(010000)), 0);
        return;
      case 3: {
        std::string text = "to" + name();
        ASSERT_EQ(symlink(text.c_str(), path.c_str()), 0);
        return;
      }
      case 4:
        ASSERT_EQ(mkfifo(path.c_str(), below(01000)), 0);
        return;
      case 5:
        ASSERT_EQ(mknod(path.c_str(), S_IFSOCK | below(01000), 0), 0);
        return;
      default:
        break;
    }
    std::ofstream(path, std::ios::binary) << contents();
    give(path);
    // No set-id bits: a change of owner takes them away.
    ASSERT_EQ(chmod(path.c_str(), 0400 | below(01000) | (below(2) * 01000)), 0);
  }

  std::mt19937 random_;
  const std::string root_;
  int items_ = 0;
};

class CopyMoveProperty : public ChangesFixture {
 protected:
  static std::string contentsOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  /// Everything that a copy must keep of the tree: kinds, modes, owners, contents, links' texts.
  std::string everything(const std::string& root) const {
    std::string all;
    Texts paths = trees::pathsBelow(root);
    paths.insert(paths.begin(), "");
    for (const std::string& path : paths) {
      const std::string full = path.empty() ? root : root + "/" + path;
      const struct stat info = infoOf(full);
      char line[64];
      // Of links and special files the owner is not kept, of links no mode is there to keep.
      const bool owned = S_ISREG(info.st_mode) || S_ISDIR(info.st_mode);
      std::snprintf(line, sizeof line, " %o %u %u ", info.st_mode, owned ? info.st_uid : 0,
                    owned ? info.st_gid : 0);
      all += path + line;
      if (S_ISREG(info.st_mode)) all += contentsOf(full);
      if (S_ISLNK(info.st_mode)) {
        char text[256] = {};
        EXPECT_GT(readlink(full.c_str(), text, sizeof text - 1), 0);
        all += text;
      }
      all += '\n';
    }
    return all;
  }
};

TEST_F(CopyMoveProperty, RandomTreesSurviveCopiesAndMoves) {
  const UmaskGuard none(0);  // the modes of special files are made, not set
  std::size_t items = 0;
  for (unsigned seed = 1; seed <= kTrees; ++seed) {
    SCOPED_TRACE(seed);
    RandomTree(seed, dir / "s").make();
    ASSERT_FALSE(HasFatalFailure());
    const std::string before = everything(dir / "s");
    items += trees::pathsBelow(dir / "s").size();

    EXPECT_EQ(copy({"s"}, elsewhere / "copied", kRecursive).messages, Texts{});
    ASSERT_EQ(everything(dir / "s"), before);
    ASSERT_EQ(everything(elsewhere / "copied"), before);

    // Over itself as it was: every file is made anew, every directory stays.
    ASSERT_EQ(::mkdir((elsewhere / "again").c_str(), 0700), 0);
    EXPECT_EQ(copy({"s"}, elsewhere / "again", kRecursive).messages, Texts{});
    EXPECT_EQ(copy({"s"}, elsewhere / "again", kRecursive | kOverwrite).messages, Texts{});
    ASSERT_EQ(everything(elsewhere / "again/s"), before);

    EXPECT_EQ(move({"s"}, "renamed", kRecursive).messages, Texts{});
    EXPECT_EQ(move({"renamed"}, elsewhere / "moved", kRecursive).messages, Texts{});
    EXPECT_EQ(left(), "");
    ASSERT_EQ(everything(elsewhere / "moved"), before);
    empty();
  }
  EXPECT_GT(items, kTrees * 5);  // the trees were trees
}

}  // namespace
}  // namespace HOQ::test
