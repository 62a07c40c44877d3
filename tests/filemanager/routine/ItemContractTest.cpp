#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "filemanager/routine/RoutineWorld.h"

namespace HOQ::test {
namespace {

class ItemContract : public RoutineContract {};
HOQ_ALL_WORLDS(ItemContract);

TEST_P(ItemContract, StatTellsTheKindsApart) {
  makeFile("f", "abc");
  makeDirectory("d");
  makeLink("l", "f");
  const auto file = at("f");
  ASSERT_EQ(file->stat(), 0);
  EXPECT_TRUE(file->isReg() && !file->isDir() && !file->isLink());
  EXPECT_EQ(file->statBuffer.st_size, 3);
  const auto directory = at("d");
  ASSERT_EQ(directory->stat(), 0);
  EXPECT_TRUE(directory->isDir() && !directory->isReg() && !directory->isLink());
  const auto link = at("l");
  ASSERT_EQ(link->stat(), 0);
  EXPECT_TRUE(link->isLink() && !link->isReg() && !link->isDir());
}

TEST_P(ItemContract, ADirectoryHasNoSize) {
  makeDirectory("d");
  makeFile("d/f", "abc");
  makeLink("l", "d");
  const auto routine = at("d");
  ASSERT_EQ(routine->stat(), 0);
  EXPECT_EQ(routine->statBuffer.st_size, 0);
  const auto through = at("l");
  through->followLinks = true;
  ASSERT_EQ(through->stat(), 0);
  EXPECT_TRUE(through->isDir());
  EXPECT_EQ(through->statBuffer.st_size, 0);
}

TEST_P(ItemContract, StatFollowsALinkOnlyWhenAsked) {
  makeFile("f", "abcde");
  makeLink("l", "f");
  const auto routine = at("l");
  routine->followLinks = true;
  ASSERT_EQ(routine->stat(), 0);
  EXPECT_TRUE(routine->isReg());
  EXPECT_EQ(routine->statBuffer.st_size, 5);
  routine->followLinks = false;
  ASSERT_EQ(routine->stat(), 0);
  EXPECT_TRUE(routine->isLink());
}

TEST_P(ItemContract, StatOfADanglingOrCircularLinkFailsWhenItFollows) {
  makeLink("dangling", "nowhere");
  makeLink("self", "self");
  const auto routine = at("dangling");
  EXPECT_EQ(routine->stat(), 0);
  routine->followLinks = true;
  EXPECT_EQ(routine->stat(), -1);
  EXPECT_EQ(errno, ENOENT);
  const auto circle = at("self");
  circle->followLinks = true;
  EXPECT_EQ(circle->stat(), -1);
  EXPECT_EQ(errno, ELOOP);
}

TEST_P(ItemContract, AFailedStatLeavesTheBufferAsItWas) {
  makeFile("f", "abc");
  const auto routine = at("f");
  ASSERT_EQ(routine->stat(), 0);
  const struct stat before = routine->statBuffer;
  routine->path += "-missing";
  EXPECT_EQ(routine->stat(), -1);
  EXPECT_EQ(std::memcmp(&before, &routine->statBuffer, sizeof before), 0);
  routine->followLinks = true;
  EXPECT_EQ(routine->stat(), -1);
  EXPECT_EQ(std::memcmp(&before, &routine->statBuffer, sizeof before), 0);
}

TEST_P(ItemContract, NoPathIsLongerThanTheSystemTakes) {
  const auto routine = at("");
  const std::string place = routine->path;
  routine->path = place + "/" + std::string(256, 'n');
  EXPECT_EQ(routine->stat(), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  routine->path = place;
  while (routine->path.size() < 4096) routine->path += "/.";
  EXPECT_EQ(routine->stat(), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_P(ItemContract, AFileIsNoDirectoryOnTheWay) {
  makeFile("f", "");
  EXPECT_EQ(at("f/x")->stat(), -1);
  EXPECT_EQ(errno, ENOTDIR);
}

TEST_P(ItemContract, ChmodFollowsLinks) {
  makeFile("f", "");
  makeLink("l", "f");
  EXPECT_EQ(at("f")->chmod(0604), 0);
  EXPECT_EQ(modeOf("f"), 0604U);
  EXPECT_EQ(at("l")->chmod(0640), 0);
  EXPECT_EQ(modeOf("f"), 0640U);
  EXPECT_EQ(at("missing")->chmod(0640), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(ItemContract, ASymbolicLinkHoldsItsTextAsItIs) {
  EXPECT_EQ(at("l")->link("no/such place", true), 0);
  std::string text;
  EXPECT_EQ(at("l")->readlinkS(text), 0);
  EXPECT_EQ(text, "no/such place");
  EXPECT_EQ(at("l")->link("other", true), -1);
  EXPECT_EQ(errno, EEXIST);
}

TEST_P(ItemContract, AHardLinkIsTheSameFile) {
  makeFile("f", "abc");
  const auto file = at("f");
  const auto twin = at("twin");
  EXPECT_EQ(twin->link(file->path.c_str(), false), 0);
  ASSERT_EQ(file->stat(), 0);
  ASSERT_EQ(twin->stat(), 0);
  EXPECT_EQ(file->statBuffer.st_ino, twin->statBuffer.st_ino);
  EXPECT_EQ(twin->statBuffer.st_nlink, 2U);
  makeDirectory("d");
  EXPECT_EQ(at("e")->link(at("d")->path.c_str(), false), -1);
  EXPECT_EQ(errno, EPERM);
}

TEST_P(ItemContract, ReadlinkCountsTheEndOfItsText) {
  makeLink("l", "target");
  char text[16] = "???????????????";
  EXPECT_EQ(at("l")->readlink(text, sizeof text), 7);
  EXPECT_STREQ(text, "target");
  EXPECT_EQ(text[7], '?');
}

TEST_P(ItemContract, ReadlinkCutsWhatDoesNotFit) {
  makeLink("l", "target");
  char text[16] = "???????????????";
  EXPECT_EQ(at("l")->readlink(text, 4), 4);
  EXPECT_STREQ(text, "tar");
}

TEST_P(ItemContract, ReadlinkTakesASizeOfNothingForFourKilobytes) {
  makeLink("l", "target");
  char text[4096];
  EXPECT_EQ(at("l")->readlink(text, 0), 7);
  EXPECT_STREQ(text, "target");
}

TEST_P(ItemContract, ReadlinkWithoutABufferOnlyMeasures) {
  makeLink("l", "target");
  EXPECT_EQ(at("l")->readlink(nullptr, 0), 7);
  EXPECT_EQ(at("l")->readlink(nullptr, 4), 4);
}

// A buffer of one byte has room for the NUL alone, and the system refuses to read nothing.
TEST_P(ItemContract, ReadlinkIntoOneByteFails) {
  makeLink("l", "target");
  char text = '?';
  EXPECT_EQ(at("l")->readlink(&text, 1), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(text, '?');
}

TEST_P(ItemContract, ReadlinkOfAnythingButALinkFails) {
  makeFile("f", "");
  char text[16];
  EXPECT_EQ(at("f")->readlink(text, sizeof text), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(at("missing")->readlink(text, sizeof text), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(ItemContract, TheTextOfALongLinkIsReadWhole) {
  const std::string longText(1000, 't');
  makeLink("l", longText);
  std::string text = "old";
  EXPECT_EQ(at("l")->readlinkS(text), 0);
  EXPECT_EQ(text, longText);
}

TEST_P(ItemContract, ReadlinkSLeavesItsArgumentWhenThereIsNoLink) {
  makeFile("f", "");
  std::string text = "old";
  EXPECT_EQ(at("f")->readlinkS(text), -1);
  EXPECT_EQ(at("missing")->readlinkS(text), -1);
  EXPECT_EQ(text, "old");
}

struct RemovalCase {
  const char* name;
  int (HOQFileRoutine::*call)();
  const char* item;  // of: file, link (to full/), empty/, full/, fifo, missing
  int error;         // 0: it goes
};

const RemovalCase kRemovals[] = {
    {"remove", &HOQFileRoutine::remove, "file", 0},
    {"remove", &HOQFileRoutine::remove, "link", 0},
    {"remove", &HOQFileRoutine::remove, "fifo", 0},
    {"remove", &HOQFileRoutine::remove, "empty", 0},
    {"remove", &HOQFileRoutine::remove, "full", ENOTEMPTY},
    {"remove", &HOQFileRoutine::remove, "missing", ENOENT},
    {"rmlink", &HOQFileRoutine::rmlink, "file", 0},
    {"rmlink", &HOQFileRoutine::rmlink, "link", 0},
    {"rmlink", &HOQFileRoutine::rmlink, "empty", 0},
    {"rmlink", &HOQFileRoutine::rmlink, "full", ENOTEMPTY},
    {"rmlink", &HOQFileRoutine::rmlink, "missing", ENOENT},
    {"rmdir", &HOQFileRoutine::rmdir, "file", ENOTDIR},
    {"rmdir", &HOQFileRoutine::rmdir, "link", ENOTDIR},
    {"rmdir", &HOQFileRoutine::rmdir, "empty", 0},
    {"rmdir", &HOQFileRoutine::rmdir, "full", ENOTEMPTY},
    {"rmdir", &HOQFileRoutine::rmdir, "missing", ENOENT},
    {"rmitem", &HOQFileRoutine::rmitem, "file", 0},
    {"rmitem", &HOQFileRoutine::rmitem, "link", 0},
    {"rmitem", &HOQFileRoutine::rmitem, "fifo", 0},
    {"rmitem", &HOQFileRoutine::rmitem, "empty", EISDIR},
    {"rmitem", &HOQFileRoutine::rmitem, "full", EISDIR},
    {"rmitem", &HOQFileRoutine::rmitem, "missing", ENOENT},
};

TEST_P(ItemContract, EachRemovalTakesItsKindsAndNoOthers) {
  makeDirectory("full");
  makeFile("full/f", "");
  for (const RemovalCase& row : kRemovals) {
    SCOPED_TRACE(std::string(row.name) + " of " + row.item);
    if (!exists("file")) makeFile("file", "");
    if (!exists("link")) makeLink("link", "full");
    if (!exists("empty")) makeDirectory("empty");
    if (!exists("fifo")) world->makeFifo("fifo");
    const auto routine = at(row.item);
    errno = 0;
    EXPECT_EQ((*routine.*row.call)(), row.error == 0 ? 0 : -1);
    if (row.error != 0) {
      EXPECT_EQ(errno, row.error);
    }
    EXPECT_EQ(exists(row.item), row.error != 0 && row.error != ENOENT);
    EXPECT_TRUE(exists("full/f"));
  }
}

}  // namespace
}  // namespace HOQ::test
