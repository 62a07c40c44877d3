#include <sys/stat.h>

#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include "filemanager/routine/RoutineWorld.h"
#include "support/Isolation.h"

namespace HOQ::test {
namespace {

class DirectoryContract : public RoutineContract {};
HOQ_ALL_WORLDS(DirectoryContract);

TEST_P(DirectoryContract, MkdirMakesADirectoryWithEveryRightThatTheUmaskLeaves) {
  const UmaskGuard mask(027);
  errno = 0;
  EXPECT_EQ(at("d")->mkdir(nullptr), 0);
  EXPECT_EQ(modeOf("d"), 0750U);
}

TEST_P(DirectoryContract, MkdirTakesTheSecurityAttributesMode) {
  const UmaskGuard mask(002);
  HOQSecurityAttributes attributes(0772);
  const auto routine = at("d");
  routine->securityAttributes = &attributes;
  errno = 0;
  EXPECT_EQ(routine->mkdir(nullptr), 0);
  EXPECT_EQ(modeOf("d"), 0770U);
}

TEST_P(DirectoryContract, MkdirOfAnExistingItemSaysSoAndCopiesNothing) {
  makeDirectory("d");
  makeFile("f", "");
  makeDirectory("from");
  ASSERT_EQ(at("from")->chmod(0701), 0);
  ASSERT_EQ(at("d")->chmod(0750), 0);
  const auto from = at("from");
  errno = 0;
  EXPECT_EQ(at("d")->mkdir(from.get()), 2055);
  EXPECT_EQ(modeOf("d"), 0750U);
  errno = 0;
  EXPECT_EQ(at("f")->mkdir(nullptr), 2055);
}

// Kept: mkdir reads errno after a success, so callers set it to 0 before.
TEST_P(DirectoryContract, MkdirSaysExistsWhenErrnoStillSaysSo) {
  const UmaskGuard mask(0);
  makeDirectory("from");
  ASSERT_EQ(at("from")->chmod(0701), 0);
  const auto from = at("from");
  errno = EEXIST;
  EXPECT_EQ(at("d")->mkdir(from.get()), 2055);
  EXPECT_TRUE(exists("d"));
  EXPECT_EQ(modeOf("d"), 0777U);
}

TEST_P(DirectoryContract, MkdirWithoutAParentFails) {
  errno = 0;
  EXPECT_EQ(at("missing/d")->mkdir(nullptr), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(DirectoryContract, MkdirGivesTheSourcesModeWhateverTheUmask) {
  const UmaskGuard mask(077);
  makeDirectory("from");
  ASSERT_EQ(at("from")->chmod(01753), 0);
  const auto from = at("from");
  errno = 0;
  EXPECT_EQ(at("d")->mkdir(from.get()), 0);
  EXPECT_EQ(modeOf("d"), 01753U);
}

TEST_P(DirectoryContract, MkdirAfterAMissingSourceFailsWithTheDirectoryMade) {
  const auto from = at("missing");
  errno = 0;
  EXPECT_EQ(at("d")->mkdir(from.get()), -1);
  EXPECT_TRUE(exists("d"));
}

TEST_P(DirectoryContract, CpOptionsGivesModeAndFailsWithoutASource) {
  makeFile("a", "");
  makeFile("b", "");
  ASSERT_EQ(at("a")->chmod(0604), 0);
  const auto from = at("a");
  EXPECT_EQ(at("b")->cpOptions(from.get()), 0);
  EXPECT_EQ(modeOf("b"), 0604U);
  const auto missing = at("missing");
  EXPECT_EQ(at("b")->cpOptions(missing.get()), -1);
  EXPECT_EQ(missing->cpOptions(from.get()), -1);
}

TEST_P(DirectoryContract, AnEmptyDirectoryHasOnlyItsDots) {
  makeDirectory("d");
  const auto routine = at("d");
  void* handle = nullptr;
  ASSERT_EQ(routine->opendir(handle), 0);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(routine->readdir(handle), 0);
  EXPECT_STREQ(routine->namedir(handle), ".");
  EXPECT_EQ(routine->readdir(handle), 0);
  EXPECT_STREQ(routine->namedir(handle), "..");
  EXPECT_EQ(routine->readdir(handle), -1);
  EXPECT_EQ(routine->readdir(handle), -1);
  EXPECT_EQ(routine->closedir(handle), 0);
}

TEST_P(DirectoryContract, EveryEntryComesOnceAfterTheDots) {
  makeDirectory("d");
  const std::set<std::string> names = {"a", "...", "..x", ".x", "b b", "x.", "\xff"};
  for (const std::string& name : names) makeFile("d/" + name, "");
  const auto routine = at("d");
  void* handle = nullptr;
  ASSERT_EQ(routine->opendir(handle), 0);
  std::vector<std::string> met;
  while (routine->readdir(handle) == 0) met.push_back(routine->namedir(handle));
  EXPECT_EQ(routine->closedir(handle), 0);
  ASSERT_EQ(met.size(), names.size() + 2);
  EXPECT_EQ(met[0], ".");
  EXPECT_EQ(met[1], "..");
  EXPECT_EQ(std::set<std::string>(met.begin() + 2, met.end()), names);
}

TEST_P(DirectoryContract, OpendirThatFailsLeavesTheHandle) {
  makeFile("f", "");
  int mark = 0;
  void* handle = &mark;
  EXPECT_EQ(at("missing")->opendir(handle), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(at("f")->opendir(handle), -1);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(handle, &mark);
}

TEST_P(DirectoryContract, TwoDirectoriesAreReadSideBySide) {
  makeDirectory("d");
  makeFile("d/inner", "");
  makeDirectory("e");
  makeFile("e/other", "");
  const auto routine = at("d");
  void* first = nullptr;
  ASSERT_EQ(routine->opendir(first), 0);
  for (int step = 0; step < 3; ++step) ASSERT_EQ(routine->readdir(first), 0);
  routine->path = at("e")->path;
  void* second = nullptr;
  ASSERT_EQ(routine->opendir(second), 0);
  for (int step = 0; step < 3; ++step) ASSERT_EQ(routine->readdir(second), 0);
  EXPECT_STREQ(routine->namedir(second), "other");
  EXPECT_STREQ(routine->namedir(first), "inner");
  EXPECT_EQ(routine->closedir(second), 0);
  EXPECT_EQ(routine->readdir(first), -1);
  EXPECT_EQ(routine->closedir(first), 0);
}

}  // namespace
}  // namespace HOQ::test
