// Trees as deep as a path can name.
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <string>

#include "engine/operatePaths.h"
#include "filemanager/engine/EngineFixture.h"
#include "support/Isolation.h"
#include "support/MemoryRoutine.h"

namespace HOQ::test {
namespace {

constexpr int kLevels = 2000;
constexpr std::size_t kMegabyte = 1024 * 1024;
constexpr unsigned long kUsualDescriptors = 1024;

/// Counts its items, and keeps the longest path.
class Counting : public FileOperate {
 public:
  using FileOperate::FileOperate;
  int operate(const char*) override {
    ++items;
    longest = std::max(longest, path.routine->path.size());
    return kDescend;
  }
  int afterDir(int, int result) override {
    ++directoriesLeft;
    return result;
  }
  long items = 0;
  long directoriesLeft = 0;
  std::size_t longest = 0;
};

class WalkingDeep : public EngineFixture {
 protected:
  TempDir deep{TempDir::kMemory};
};

TEST_F(WalkingDeep, AChainOf2000LevelsTakesLittleStackAndFewDescriptors) {
  if (deep.path().size() + 2 * kLevels + 2 >= PATH_MAX)
    GTEST_SKIP() << "the place for temporary files has too long a name: " << deep.path();
  trees::deepChain(deep.path(), kLevels);
  HOQFileRoutineLin routine(deep.path());
  const HOQFilerOptions options(0);
  Counting op(routine, options, true);
  op.error.handler = handler;
  const DescriptorLimit limit(kUsualDescriptors);
  int result = -1;
  inThreadWithStack(stackFor(kMegabyte), [&] { result = operatePaths(op, {"."}, deep.path()); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(handler->messages(), Texts{});
  EXPECT_EQ(op.items, 1 + 2 * kLevels);
  EXPECT_EQ(op.directoriesLeft, 1 + kLevels);
  EXPECT_EQ(op.longest, deep.path().size() + 2 * kLevels + 2);  // the place is walked as "."
  EXPECT_EQ(routine.path, deep.path());
}

TEST_F(WalkingDeep, AChainBeyondTheLongestPathIsReportedWhereItEnds) {
  trees::deepChain(deep.path(), kLevels + 200);
  HOQFileRoutineLin routine(deep.path());
  const HOQFilerOptions options(0);
  Counting op(routine, options, true);
  op.error.handler = handler;
  EXPECT_EQ(operatePaths(op, {"."}, deep.path()), 2056);
  ASSERT_EQ(handler->errors.size(), 1U);  // the message is cut before the system's text
  EXPECT_EQ(handler->errors[0].message.substr(0, deep.path().size() + 1), "\"" + deep.path());
  EXPECT_EQ(routine.path, deep.path());
}

TEST_F(WalkingDeep, ATreeInMemoryIsWalkedAsDeep) {
  MemoryFs fs;
  MemoryFs::NodePtr node;
  std::string path;
  for (int level = 0; level < 1500; ++level) {
    path += "/d";
    ASSERT_EQ(fs.create(path, S_IFDIR | 0755, node), 0);
  }
  MemoryRoutine routine(fs, "");
  const HOQFilerOptions options(0);
  Counting op(routine, options, true);
  EXPECT_EQ(operatePaths(op, {"/d"}, ""), 0);
  EXPECT_EQ(op.items, 1500);
}

TEST_F(WalkingDeep, MountPointsAreEnteredLikeDirectories) {
  HOQ_NEEDS_ROOT("only it mounts a file system");
  const std::string problem = whyNoMounts();
  if (!problem.empty()) GTEST_SKIP() << problem;
  trees::make(dir.path(), "d/mount/");
  EXPECT_EQ(inChild([&] {
              ASSERT_EQ(mountOwnFileSystem(dir / "d/mount"), "");
              trees::make(dir / "d/mount", "inner/f");
              HOQFileRoutineLin routine(dir.path());
              const HOQFilerOptions options(0);
              ScriptedOperate op(routine, options, true);
              EXPECT_EQ(op.addPath("d"), 0);
              EXPECT_EQ(placesOf(op), (Texts{"d", "d/mount", "d/mount/inner", "d/mount/inner/f"}));
            }),
            "");
}

}  // namespace
}  // namespace HOQ::test
