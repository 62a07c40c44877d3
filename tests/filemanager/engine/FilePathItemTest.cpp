#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "engine/FilePath.h"
#include "filemanager/engine/EngineFixture.h"
#include "support/FaultyRoutine.h"
#include "support/LoggingRoutine.h"
#include "support/MemoryRoutine.h"

namespace HOQ::test {
namespace {

class WalkingAnItem : public EngineFixture {};

TEST_F(WalkingAnItem, AFreshWalkerHasNoRoutineAndReportsMissingItems) {
  const FilePath path;
  EXPECT_EQ(path.routine, nullptr);
  EXPECT_EQ(path.owner, nullptr);
  EXPECT_TRUE(path.reportStat);
}

TEST_F(WalkingAnItem, NamesAreStackedOnTheCurrentPath) {
  HOQFileRoutineLin routine("");
  FilePath path;
  path.routine = &routine;
  EXPECT_EQ(path.addName("a"), 0);
  EXPECT_EQ(routine.path, "a");
  EXPECT_EQ(path.addName("b/c"), 1);
  EXPECT_EQ(routine.path, "a/b/c");
  EXPECT_EQ(path.addName(""), 5);
  EXPECT_EQ(routine.path, "a/b/c/");
  path.retName(5);
  EXPECT_EQ(routine.path, "a/b/c");
  path.retName(5);
  path.retName(6);
  EXPECT_EQ(routine.path, "a/b/c");
  path.retName(0);
  EXPECT_EQ(routine.path, "");
}

TEST_F(WalkingAnItem, AnAbsoluteNameOnAnEmptyPathIsTheWholePath) {
  HOQFileRoutineLin routine("");
  FilePath path;
  path.routine = &routine;
  EXPECT_EQ(path.addName(std::string("/a/b")), 0);
  EXPECT_EQ(routine.path, "/a/b");
}

TEST_F(WalkingAnItem, TheCallbacksComeInOrder) {
  MemoryFs fs;
  MemoryFs::NodePtr node;
  ASSERT_EQ(fs.create("/r", S_IFDIR | 0755, node), 0);
  ASSERT_EQ(fs.create("/r/d", S_IFDIR | 0755, node), 0);
  ASSERT_EQ(fs.create("/r/d/f", S_IFREG | 0644, node), 0);
  ASSERT_EQ(fs.create("/r/d/e", S_IFDIR | 0755, node), 0);
  ASSERT_EQ(fs.create("/r/d/g", S_IFREG | 0644, node), 0);
  MemoryRoutine routine(fs, "/r");
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.onBeforeDir = [count = 7](int& depth) mutable {
    depth = count++;
    return 0;
  };
  EXPECT_EQ(op.path.addItem("d"), 0);
  const Texts expected = {"operate d at /r/d",   "beforeDir 0", "operate f at /r/d/f",
                          "operate e at /r/d/e", "beforeDir 0", "afterDir 8 0",
                          "operate g at /r/d/g", "afterDir 7 0"};
  EXPECT_EQ(op.log, expected);
  EXPECT_EQ(routine.path, "/r");
}

TEST_F(WalkingAnItem, AnEmptyNameIsTheCurrentPathItself) {
  trees::make(dir.path(), "f");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  EXPECT_EQ(op.path.addItem(""), 0);
  EXPECT_EQ(placesOf(op), (Texts{".", "f"}));
  EXPECT_EQ(routine.path, dir.path());
}

TEST_F(WalkingAnItem, ANameThatIsNotThereIsAFatalError) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  EXPECT_DEATH((void)op.path.addItem(nullptr), "");
}

TEST_F(WalkingAnItem, AMissingItemIsReportedWhereItemsMustBeThere) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.error.handler = handler;
  EXPECT_EQ(op.path.addItem("missing"), -1);
  EXPECT_EQ(op.log, Texts{});
  EXPECT_EQ(handler->messages(), Texts{"\"" + dir / "missing" +
                                       "\", Cannot get information: No such file or directory[2]"});
  EXPECT_EQ(handler->errors.at(0).code, -1);
  EXPECT_EQ(routine.path, dir.path());
}

TEST_F(WalkingAnItem, AMissingItemIsHandedOnWhereItNeedNotBeThere) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, false);
  op.error.handler = handler;
  op.onOperate = [](const std::string&) { return FileOperate::kDone; };
  EXPECT_EQ(op.path.addItem("missing"), 0);
  EXPECT_EQ(op.log, Texts{"operate missing at " + dir / "missing"});
  EXPECT_TRUE(handler->errors.empty());
}

TEST_F(WalkingAnItem, EachItemIsExaminedOnceAndDotsNotAtAll) {
  trees::make(dir.path(), "d/f d/e/");
  CallLog log;
  LoggingRoutine routine(dir.path(), log);
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.onFiltrate = [](const std::string&) { return 0; };
  op.onOperate = [](const std::string& name) {
    return name[0] == '.' ? FileOperate::kDone : FileOperate::kDescend;
  };
  EXPECT_EQ(op.path.addItem("d"), 0);
  for (const char* item : {"d", "d/f", "d/e"})
    EXPECT_EQ(log.count(Call::Stat, dir / item), 1) << item;
  EXPECT_EQ(log.count(Call::Stat), 3);
  EXPECT_EQ(placesOf(op).size(), 7U);  // and the dots of two directories
}

TEST_F(WalkingAnItem, WhatIsDoneIsNotEnteredAndIsASuccess) {
  trees::make(dir.path(), "d/f");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.onOperate = [](const std::string&) { return FileOperate::kDone; };
  EXPECT_EQ(op.path.addItem("d"), 0);
  EXPECT_EQ(placesOf(op), Texts{"d"});
}

TEST_F(WalkingAnItem, AnErrorEndsTheReadingOfEveryDirectoryAbove) {
  trees::make(dir.path(), "d/e/f");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.onOperate = [](const std::string& name) { return name == "f" ? 42 : FileOperate::kDescend; };
  EXPECT_EQ(op.path.addItem("d"), 42);
  EXPECT_EQ(op.log.at(op.log.size() - 2), "afterDir 0 42");
  EXPECT_EQ(op.log.back(), "afterDir 0 42");
  EXPECT_EQ(routine.path, dir.path());
}

TEST_F(WalkingAnItem, AnErrorKeepsTheEntriesBehindItFromBeingWalked) {
  trees::make(dir.path(), "a b c d");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  int calls = 0;
  op.onOperate = [&](const std::string&) { return ++calls == 3 ? -9 : 0; };
  EXPECT_EQ(op.path.addItem(""), -9);
  EXPECT_EQ(op.visited.size(), 3U);  // the place and two entries
}

TEST_F(WalkingAnItem, AfterDirMayReplaceTheResult) {
  trees::make(dir.path(), "d/f e/");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.onOperate = [](const std::string& name) { return name == "f" ? 42 : 0; };
  op.onAfterDir = [](int, int result) { return result == 42 ? 0 : 43; };
  EXPECT_EQ(op.path.addItem("d"), 0);
  EXPECT_EQ(op.path.addItem("e"), 43);
}

TEST_F(WalkingAnItem, BeforeDirMaySkipTheEntries) {
  trees::make(dir.path(), "d/f");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.onBeforeDir = [](int& depth) {
    depth = 3;
    return 5;
  };
  EXPECT_EQ(op.path.addItem("d"), 5);
  EXPECT_EQ(op.log, (Texts{"operate d at " + dir / "d", "beforeDir 0", "afterDir 3 5"}));
}

TEST_F(WalkingAnItem, WhatFiltrateRefusesIsNotWalked) {
  trees::make(dir.path(), "d/yes d/no/inner");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.onFiltrate = [](const std::string& name) { return name == "yes" ? 0 : 8; };
  EXPECT_EQ(op.path.addItem("d"), 0);
  EXPECT_EQ(placesOf(op), (Texts{"d", "d/yes"}));
}

TEST_F(WalkingAnItem, ADirectoryThatCannotBeReadIsReported) {
  trees::make(dir.path(), "d/f");
  FaultPlan plan("/d", EACCES, Call::Opendir);
  FaultyRoutine routine(dir.path(), plan);
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.error.handler = handler;
  EXPECT_EQ(op.path.addItem("d"), -1);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(handler->messages(),
            Texts{"\"" + dir / "d" + "\", Cannot read directory: Permission denied[13]"});
  EXPECT_EQ(op.log, Texts{"operate d at " + dir / "d"});  // and neither beforeDir nor afterDir
}

// Kept: the end of a directory and a failure to read on are the same to the walker.
TEST_F(WalkingAnItem, AFailureToReadOnEndsTheDirectoryInSilence) {
  trees::make(dir.path(), "d/f d/g");
  FaultPlan plan(4, EIO, Call::Readdir);  // after the dots and one entry
  FaultyRoutine routine(dir.path(), plan);
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.error.handler = handler;
  EXPECT_EQ(op.path.addItem("d"), 0);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(op.visited.size(), 2U);
  EXPECT_TRUE(handler->errors.empty());
}

TEST_F(WalkingAnItem, LinksAreItemsAndAreNotEntered) {
  trees::links(dir.path());
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  EXPECT_EQ(op.path.addItem(""), 0);
  EXPECT_EQ(placesOf(op), (Texts{".", "d", "d/f", "d/up", "dangling", "directory", "file", "here",
                                 "ping", "pong", "self"}));
}

TEST_F(WalkingAnItem, LinkedDirectoriesAreEnteredOnRequest) {
  trees::make(dir.path(), "d/f l->d file->d/f");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(HOQFilerOptions::kFollowLinks);
  ScriptedOperate op(routine, options, true);
  EXPECT_EQ(op.path.addItem(""), 0);
  EXPECT_EQ(placesOf(op), (Texts{".", "d", "d/f", "file", "l", "l/f"}));
}

TEST_F(WalkingAnItem, ALoopOfFollowedLinksEndsWhereTheSystemEndsIt) {
  trees::make(dir.path(), "d/loop->.");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(HOQFilerOptions::kFollowLinks);
  ScriptedOperate op(routine, options, true);
  op.error.handler = handler;
  EXPECT_NE(op.path.addItem("d"), 0);
  ASSERT_EQ(handler->errors.size(), 1U);
  EXPECT_NE(handler->errors[0].message.find("Too many levels of symbolic links[40]"),
            std::string::npos);
  EXPECT_EQ(routine.path, dir.path());
}

TEST_F(WalkingAnItem, ADanglingLinkIsMissingWhereLinksAreFollowed) {
  trees::make(dir.path(), "l->nowhere");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(HOQFilerOptions::kFollowLinks);
  ScriptedOperate op(routine, options, true);
  op.error.handler = handler;
  EXPECT_EQ(op.path.addItem("l"), -1);
  EXPECT_EQ(handler->errors.size(), 1U);
}

TEST_F(WalkingAnItem, EveryKindOfItemIsVisited) {
  trees::everyKind(dir.path());
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  EXPECT_EQ(op.path.addItem(""), 0);
  EXPECT_EQ(placesOf(op), (Texts{".", "dangling", "directory", "empty", "fifo", "file", "link",
                                 "socket", "twin"}));
}

TEST_F(WalkingAnItem, NamesOfEveryByteAreVisited) {
  const std::vector<std::string> names = trees::everyByteNames(dir.path());
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  EXPECT_EQ(op.path.addItem(""), 0);
  Texts expected(names.begin(), names.end());
  expected.push_back(".");
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(placesOf(op), expected);
}

TEST_F(WalkingAnItem, AnEntryThatTheWalksOwnCallbackRemovedIsMissed) {
  trees::make(dir.path(), "a b");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.error.handler = handler;
  // Whichever comes first takes the other away. What was read ahead is examined and missed.
  op.onOperate = [&](const std::string& name) {
    if (name == "a") unlink((dir / "b").c_str());
    if (name == "b") unlink((dir / "a").c_str());
    return 0;
  };
  const int result = op.path.addItem("");
  EXPECT_EQ(op.visited.size(), 2U);
  EXPECT_EQ(handler->errors.size(), result == 0 ? 0U : 1U);
}

TEST_F(WalkingAnItem, ADirectoryThatItsOwnCallbackRemovedIsNotRead) {
  trees::make(dir.path(), "d/");
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  ScriptedOperate op(routine, options, true);
  op.error.handler = handler;
  op.onOperate = [&](const std::string&) {
    rmdir((dir / "d").c_str());
    return 0;
  };
  EXPECT_EQ(op.path.addItem("d"), -1);
  EXPECT_EQ(handler->messages(),
            Texts{"\"" + dir / "d" + "\", Cannot read directory: No such file or directory[2]"});
}

}  // namespace
}  // namespace HOQ::test
