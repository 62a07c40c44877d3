#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "filemanager/routine/RoutineWorld.h"
#include "support/Isolation.h"
#include "support/MemoryRoutine.h"

namespace HOQ::test {
namespace {

class CopyMoveContract : public RoutineContract {
 protected:
  /// A routine of a kind that is none of the worlds'.
  struct Stranger : MemoryRoutine {
    using MemoryRoutine::MemoryRoutine;
    unsigned getType() override { return 77; }
  };

  MemoryFs elsewhere;
  Stranger stranger{elsewhere, "/there"};
};
HOQ_ALL_WORLDS(CopyMoveContract);

TEST_P(CopyMoveContract, CopyLeavesAnythingButASpecialFileToItsCaller) {
  makeFile("f", "");
  makeDirectory("d");
  makeLink("l", "f");
  const auto target = at("target");
  for (const char* name : {"f", "d", "l"}) {
    const auto source = at(name);
    ASSERT_EQ(source->stat(), 0);
    EXPECT_EQ(source->copy(*target), 1) << name;
  }
  EXPECT_FALSE(exists("target"));
}

TEST_P(CopyMoveContract, CopyMakesASpecialFileOfTheSameKind) {
  const UmaskGuard mask(0);
  world->makeFifo("p");
  const auto source = at("p");
  const auto target = at("q");
  ASSERT_EQ(source->stat(), 0);
  EXPECT_EQ(source->copy(*target), 0);
  ASSERT_EQ(target->stat(), 0);
  EXPECT_EQ(target->statBuffer.st_mode, source->statBuffer.st_mode);
  EXPECT_TRUE(exists("p"));
}

TEST_P(CopyMoveContract, CopyOfASpecialFileOntoAnItemFails) {
  world->makeFifo("p");
  makeFile("f", "old");
  const auto source = at("p");
  const auto target = at("f");
  ASSERT_EQ(source->stat(), 0);
  errno = 0;
  EXPECT_EQ(source->copy(*target), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(textOf("f"), "old");
}

// Kept: between kinds of routines a special file is skipped in silence.
TEST_P(CopyMoveContract, CopyToAnotherKindMakesNothingOfASpecialFile) {
  world->makeFifo("p");
  const auto source = at("p");
  ASSERT_EQ(source->stat(), 0);
  EXPECT_EQ(source->copy(stranger), 0);
  EXPECT_EQ(stranger.stat(), -1);
  EXPECT_TRUE(exists("p"));
}

TEST_P(CopyMoveContract, MoveRenamesOnOneDevice) {
  makeFile("f", "abc");
  const auto source = at("f");
  const auto target = at("g");
  ASSERT_EQ(source->stat(), 0);
  ASSERT_EQ(at("")->stat(), 0);
  target->statBuffer.st_dev = source->statBuffer.st_dev;
  EXPECT_EQ(source->move(*target), 0);
  EXPECT_FALSE(exists("f"));
  EXPECT_EQ(textOf("g"), "abc");
}

TEST_P(CopyMoveContract, MoveReplacesAFileAndTakesTreesWhole) {
  makeDirectory("d");
  makeFile("d/f", "inner");
  makeFile("g", "old");
  makeFile("h", "new");
  const auto tree = at("d");
  const auto place = at("e");
  ASSERT_EQ(tree->stat(), 0);
  place->statBuffer.st_dev = tree->statBuffer.st_dev;
  EXPECT_EQ(tree->move(*place), 0);
  EXPECT_EQ(textOf("e/f"), "inner");
  const auto file = at("h");
  const auto old = at("g");
  ASSERT_EQ(file->stat(), 0);
  ASSERT_EQ(old->stat(), 0);
  EXPECT_EQ(file->move(*old), 0);
  EXPECT_EQ(textOf("g"), "new");
}

TEST_P(CopyMoveContract, MoveBetweenDevicesIsLeftToTheCaller) {
  makeFile("f", "abc");
  makeFile("g", "old");
  const auto source = at("f");
  const auto target = at("g");
  ASSERT_EQ(source->stat(), 0);
  ASSERT_EQ(target->stat(), 0);
  ++target->statBuffer.st_dev;
  EXPECT_EQ(source->move(*target), 1);
  EXPECT_EQ(textOf("f"), "abc");
  EXPECT_EQ(textOf("g"), "old");
}

TEST_P(CopyMoveContract, MoveToAnotherKindIsLeftToTheCaller) {
  makeFile("f", "abc");
  const auto source = at("f");
  ASSERT_EQ(source->stat(), 0);
  stranger.statBuffer.st_dev = source->statBuffer.st_dev;
  EXPECT_EQ(source->move(stranger), 1);
  EXPECT_EQ(textOf("f"), "abc");
}

TEST_P(CopyMoveContract, MoveOfASpecialFileMakesItAnewAndRemovesTheOld) {
  world->makeFifo("p");
  const auto source = at("p");
  const auto target = at("q");
  ASSERT_EQ(source->stat(), 0);
  target->statBuffer.st_dev = source->statBuffer.st_dev + 1;  // devices do not matter here
  EXPECT_EQ(source->move(*target), 0);
  EXPECT_FALSE(exists("p"));
  ASSERT_EQ(target->stat(), 0);
  EXPECT_TRUE(S_ISFIFO(target->statBuffer.st_mode));
}

// Kept: the special file is gone and nothing stands for it.
TEST_P(CopyMoveContract, MoveOfASpecialFileToAnotherKindOnlyRemovesIt) {
  world->makeFifo("p");
  const auto source = at("p");
  ASSERT_EQ(source->stat(), 0);
  EXPECT_EQ(source->move(stranger), 0);
  EXPECT_FALSE(exists("p"));
  EXPECT_EQ(stranger.stat(), -1);
}

TEST_P(CopyMoveContract, MoveOfASpecialFileThatIsGoneAnswersWithTheRemovalsFailure) {
  world->makeFifo("p");
  const auto source = at("p");
  ASSERT_EQ(source->stat(), 0);
  ASSERT_EQ(at("p")->rmitem(), 0);
  EXPECT_EQ(source->move(stranger), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(CopyMoveContract, MoveThatCannotMakeTheSpecialFileKeepsTheOld) {
  world->makeFifo("p");
  makeFile("f", "old");
  const auto source = at("p");
  const auto target = at("f");
  ASSERT_EQ(source->stat(), 0);
  ASSERT_EQ(target->stat(), 0);
  EXPECT_EQ(source->move(*target), -1);
  EXPECT_TRUE(exists("p"));
  EXPECT_EQ(textOf("f"), "old");
}

}  // namespace
}  // namespace HOQ::test
