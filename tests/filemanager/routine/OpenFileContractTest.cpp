#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "filemanager/routine/RoutineWorld.h"
#include "support/Isolation.h"

namespace HOQ::test {
namespace {

class OpenFileContract : public RoutineContract {};
HOQ_ALL_WORLDS(OpenFileContract);

TEST_P(OpenFileContract, AFreshRoutineHoldsItsPathAndNothingElse) {
  const auto routine = at("x");
  EXPECT_EQ(routine->path.substr(routine->path.rfind('/')), "/x");
  EXPECT_EQ(routine->filters, nullptr);
  EXPECT_EQ(routine->securityAttributes, nullptr);
  EXPECT_FALSE(routine->followLinks);
  EXPECT_FALSE(routine->isOpened());
  const auto* bytes = reinterpret_cast<const char*>(&routine->statBuffer);
  EXPECT_TRUE(
      std::all_of(bytes, bytes + sizeof routine->statBuffer, [](char b) { return b == 0; }));
  EXPECT_FALSE(routine->isDir() || routine->isLink() || routine->isReg());
}

TEST_P(OpenFileContract, WhatIsWrittenIsRead) {
  makeFile("f", "some text");
  EXPECT_EQ(textOf("f"), "some text");
}

TEST_P(OpenFileContract, ReadingGoesOnWhereItStoppedAndEndsWithNothing) {
  makeFile("f", "abcde");
  const auto routine = at("f");
  errno = 0;
  ASSERT_EQ(routine->open(O_RDONLY), 0);
  EXPECT_TRUE(routine->isOpened());
  char text[3];
  EXPECT_EQ(routine->read(text, 3), 3);
  EXPECT_EQ(routine->read(text, 3), 2);
  EXPECT_EQ(std::string(text, 2), "de");
  EXPECT_EQ(routine->read(text, 3), 0);
  EXPECT_EQ(routine->close(), 0);
}

TEST_P(OpenFileContract, SeekCountsFromTheStart) {
  makeFile("f", "abcde");
  const auto routine = at("f");
  errno = 0;
  ASSERT_EQ(routine->open(O_RDWR), 0);
  char letter = 0;
  EXPECT_EQ(routine->seek(3), 0);
  EXPECT_EQ(routine->read(&letter, 1), 1);
  EXPECT_EQ(letter, 'd');
  EXPECT_EQ(routine->seek(1), 0);
  EXPECT_EQ(routine->write("X", 1), 1);
  EXPECT_EQ(routine->seek(7), 0);
  EXPECT_EQ(routine->write("Y", 1), 1);
  EXPECT_EQ(routine->close(), 0);
  EXPECT_EQ(textOf("f"), std::string("aXcde\0\0Y", 8));
}

TEST_P(OpenFileContract, SeekKnowsOffsetsThatNeed64Bits) {
  makeFile("f", "");
  const auto routine = at("f");
  errno = 0;
  ASSERT_EQ(routine->open(O_RDONLY), 0);
  EXPECT_EQ(routine->seek(1LL << 40), 0);
  char letter;
  EXPECT_EQ(routine->read(&letter, 1), 0);
  EXPECT_EQ(routine->close(), 0);
}

TEST_P(OpenFileContract, SeekRefusesAClosedRoutineAndANegativeOffset) {
  makeFile("f", "abc");
  const auto routine = at("f");
  EXPECT_EQ(routine->seek(0), -1);
  errno = 0;
  ASSERT_EQ(routine->open(O_RDONLY), 0);
  EXPECT_EQ(routine->seek(-1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(routine->close(), 0);
}

TEST_P(OpenFileContract, AClosedRoutineNeitherReadsNorWrites) {
  const auto routine = at("f");
  char letter = 'x';
  EXPECT_EQ(routine->read(&letter, 1), -1);
  EXPECT_EQ(errno, EBADF);
  errno = 0;
  EXPECT_EQ(routine->write(&letter, 1), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_P(OpenFileContract, OpenOfAMissingFileFails) {
  const auto routine = at("missing");
  errno = 0;
  EXPECT_EQ(routine->open(O_RDONLY), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(routine->isOpened());
}

TEST_P(OpenFileContract, ExclusiveOpenOfAnExistingFileFails) {
  makeFile("f", "old");
  const auto routine = at("f");
  errno = 0;
  EXPECT_EQ(routine->open(O_WRONLY | O_CREAT | O_EXCL), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_FALSE(routine->isOpened());
  EXPECT_EQ(textOf("f"), "old");
}

// Kept: open reads errno after a success, so callers set it to 0 before.
TEST_P(OpenFileContract, OpenAnswersOneWhenErrnoStillSaysThatAFileExists) {
  makeFile("f", "");
  const auto routine = at("f");
  errno = EEXIST;
  EXPECT_EQ(routine->open(O_RDONLY), 1);
  EXPECT_TRUE(routine->isOpened());
  EXPECT_EQ(routine->close(), 0);
  errno = ENOENT;
  EXPECT_EQ(routine->open(O_RDONLY), 0);
  EXPECT_EQ(routine->close(), 0);
}

TEST_P(OpenFileContract, ANewFileGetsEveryRightThatTheUmaskLeaves) {
  const UmaskGuard mask(027);
  makeFile("f", "");
  EXPECT_EQ(modeOf("f"), 0750U);
}

TEST_P(OpenFileContract, ANewFileGetsTheSecurityAttributesMode) {
  const UmaskGuard mask(002);
  HOQSecurityAttributes attributes(0662);
  const auto routine = at("f");
  routine->securityAttributes = &attributes;
  errno = 0;
  ASSERT_EQ(routine->open(O_WRONLY | O_CREAT), 0);
  EXPECT_EQ(routine->close(), 0);
  EXPECT_EQ(modeOf("f"), 0660U);
}

TEST_P(OpenFileContract, OpenAddsNoFlagsOfItsOwn) {
  makeFile("f", "abc");
  const auto routine = at("f");
  errno = 0;
  ASSERT_EQ(routine->open(O_WRONLY), 0);
  EXPECT_EQ(routine->write("X", 1), 1);
  EXPECT_EQ(routine->close(), 0);
  EXPECT_EQ(textOf("f"), "Xbc");
  errno = 0;
  ASSERT_EQ(routine->open(O_WRONLY | O_APPEND), 0);
  EXPECT_EQ(routine->write("Y", 1), 1);
  EXPECT_EQ(routine->close(), 0);
  EXPECT_EQ(textOf("f"), "XbcY");
  errno = 0;
  ASSERT_EQ(routine->open(O_WRONLY | O_TRUNC), 0);
  EXPECT_EQ(routine->close(), 0);
  EXPECT_EQ(textOf("f"), "");
}

TEST_P(OpenFileContract, ClosingTwiceFailsTheSecondTime) {
  makeFile("f", "");
  const auto routine = at("f");
  errno = 0;
  ASSERT_EQ(routine->open(O_RDONLY), 0);
  EXPECT_EQ(routine->close(), 0);
  EXPECT_FALSE(routine->isOpened());
  EXPECT_EQ(routine->close(), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_FALSE(routine->isOpened());
}

TEST_P(OpenFileContract, TheLastErrorIsWhatErrnoSaysNow) {
  const auto routine = at("missing");
  HOQRequestErrorData error(0, "");
  ASSERT_EQ(routine->stat(), -1);
  EXPECT_EQ(routine->getLastError(error), ENOENT);
  EXPECT_EQ(error.code, ENOENT);
  EXPECT_EQ(error.message, std::strerror(ENOENT));
  errno = 0;
  EXPECT_EQ(routine->getLastError(error), 0);
  EXPECT_EQ(error.code, 0);
}

TEST_P(OpenFileContract, AKindOfRoutineHasItsNumber) {
  EXPECT_EQ(at("x")->getType(), world->kind());
}

TEST_P(OpenFileContract, FiltersAreKeptAsTheyAreGiven) {
  const std::vector<HOQFileFilter> filters(2);
  const auto routine = at("x");
  routine->setFilters(&filters);
  EXPECT_EQ(routine->filters, &filters);
  routine->setFilters(nullptr);
  EXPECT_EQ(routine->filters, nullptr);
}

}  // namespace
}  // namespace HOQ::test
