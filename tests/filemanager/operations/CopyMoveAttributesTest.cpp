// Modes, owners and names of what was copied and moved.
#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>

#include "filemanager/operations/ChangesFixture.h"

namespace HOQ::test {
namespace {

class CopyMoveAttributes : public ChangesFixture {
 protected:
  static std::tuple<unsigned, unsigned> ownerOf(const struct stat& info) {
    return {info.st_uid, info.st_gid};
  }
  void give(const std::string& item, unsigned uid, unsigned gid) const {
    ASSERT_EQ(lchown((dir / item).c_str(), uid, gid), 0);
  }
};

TEST_F(CopyMoveAttributes, ModesArriveWhateverTheUmask) {
  for (const mode_t umask : {0, 022, 077, 0777}) {
    trees::make(dir.path(), "s/%755 s/f%640=1 s/e/%711 s/e/g%444=2 s/x%777");
    const UmaskGuard other(umask);
    EXPECT_EQ(copy({"s"}, elsewhere / "t", kRecursive).messages, Texts{}) << umask;
    EXPECT_EQ(infoOf(elsewhere / "t").st_mode & 07777, 0755U) << umask;
    EXPECT_EQ(infoOf(elsewhere / "t/e").st_mode & 07777, 0711U) << umask;
    EXPECT_EQ(infoOf(elsewhere / "t/f").st_mode & 07777, 0640U) << umask;
    EXPECT_EQ(infoOf(elsewhere / "t/e/g").st_mode & 07777, 0444U) << umask;
    EXPECT_EQ(infoOf(elsewhere / "t/x").st_mode & 07777, 0777U) << umask;
    empty();
  }
}

TEST_F(CopyMoveAttributes, AnEmptyDirectoryCopiedAloneHasItsSourcesMode) {
  trees::make(dir.path(), "s/%1730 s/f");
  EXPECT_EQ(copy({"s"}, "t").code, 0);
  EXPECT_EQ(modeOf("t"), 01730U);
}

TEST_F(CopyMoveAttributes, ADirectoryThatWasThereKeepsItsMode) {
  trees::make(dir.path(), "s/%700 s/f t/s/%755");
  EXPECT_EQ(copy({"s"}, "t", kRecursive | kOverwrite).code, 0);
  EXPECT_EQ(modeOf("t/s"), 0755U);
}

// The file that was there is gone: what stands in its place is new.
TEST_F(CopyMoveAttributes, AnOverwrittenFileTakesItsSourcesMode) {
  trees::make(dir.path(), "f%640=1 g%4755=22");
  EXPECT_EQ(copy({"f"}, "g", kOverwrite).code, 0);
  EXPECT_EQ(modeOf("g"), 0640U);
  EXPECT_EQ(left(), "f=1 g=1");
}

TEST_F(CopyMoveAttributes, NothingInheritsSetIdBitsFromWhatWasExaminedBefore) {
  trees::make(dir.path(), "f%640=1 s/%750 s/g%600=2 t/%2777 k%6755=3");
  EXPECT_EQ(copy({"f", "s"}, "t", kRecursive).messages, Texts{});
  EXPECT_EQ(modeOf("t/f"), 0640U);
  EXPECT_EQ(modeOf("t/s"), 0750U);
  EXPECT_EQ(modeOf("t/s/g"), 0600U);
  EXPECT_EQ(copy({"f"}, "k", kOverwrite).messages, Texts{});
  EXPECT_EQ(modeOf("k"), 0640U);
}

// A change of owner takes a file's set-id bits away, and here it is the last to happen.
TEST_F(CopyMoveAttributes, SetIdBitsOfACopiedFileDoNotArrive) {
  trees::make(dir.path(), "f%6755=1 d/%3755 s/g%4711=2");
  EXPECT_EQ(copy({"f"}, "g").code, 0);
  EXPECT_EQ(modeOf("g"), 0755U);
  EXPECT_EQ(copy({"s"}, "t", kRecursive).code, 0);
  EXPECT_EQ(modeOf("t/g"), 0711U);
  EXPECT_EQ(copy({"d"}, "e").code, 0);
  EXPECT_EQ(modeOf("e"), 03755U);  // a directory's are no danger
  EXPECT_EQ(move({"f"}, "t").code, 0);
  EXPECT_EQ(modeOf("t/f"), 06755U);  // renamed: the item itself
}

TEST_F(CopyMoveAttributes, OwnersArrive) {
  HOQ_NEEDS_ROOT("owners are given away");
  trees::make(dir.path(), "s/f=1 s/d/g=2 o=3");
  give("s", 11, 12);
  give("s/f", 13, 14);
  give("s/d", 15, 16);
  give("o", 17, 18);
  EXPECT_EQ(copy({"s"}, elsewhere / "t", kRecursive).messages, Texts{});
  EXPECT_EQ(ownerOf(infoOf(elsewhere / "t")), std::make_tuple(11U, 12U));
  EXPECT_EQ(ownerOf(infoOf(elsewhere / "t/f")), std::make_tuple(13U, 14U));
  EXPECT_EQ(ownerOf(infoOf(elsewhere / "t/d")), std::make_tuple(15U, 16U));
  EXPECT_EQ(move({"s"}, elsewhere / "u", kRecursive).messages, Texts{});
  EXPECT_EQ(ownerOf(infoOf(elsewhere / "u")), std::make_tuple(11U, 12U));
  EXPECT_EQ(ownerOf(infoOf(elsewhere / "u/f")), std::make_tuple(13U, 14U));
  EXPECT_EQ(copy({"o"}, elsewhere / "u/f", kOverwrite).messages, Texts{});
  EXPECT_EQ(ownerOf(infoOf(elsewhere / "u/f")), std::make_tuple(17U, 18U));
}

TEST_F(CopyMoveAttributes, OthersFilesAreCopiedByWhoMayOnlyReadThem) {
  HOQ_NEEDS_ROOT("files must belong to another user");
  trees::make(elsewhere.path(), "s/%755 s/d/%755 s/d/f%644=1");
  ASSERT_EQ(::chmod(elsewhere.path().c_str(), 0755), 0);
  EXPECT_EQ(asUnprivileged([this] {
              const Said outcome = copy({elsewhere / "s"}, "t", kRecursive);
              EXPECT_EQ(outcome.code, 0);
              EXPECT_EQ(outcome.messages, Texts{});
              EXPECT_EQ(left(), "t/d/f=1");
              EXPECT_EQ(infoOf(dir / "t/d/f").st_uid, geteuid());
            }),
            "");
}

TEST_F(CopyMoveAttributes, WhatMayNotBeReadIsReported) {
  trees::make(dir.path(), "f%0=1 d/%0");
  EXPECT_EQ(asUnprivileged([this] {
              EXPECT_EQ(copy({"f"}, "g").messages,
                        placed(Texts{"\"@/f\", Cannot open file to read: Permission denied[13]"}));
              EXPECT_EQ(copy({"d"}, "e", kRecursive).messages,
                        placed(Texts{"\"@/d\", Cannot read directory: Permission denied[13]"}));
            }),
            "");
}

TEST_F(CopyMoveAttributes, WhatMayNotBeMovedStaysAndIsReported) {
  trees::make(dir.path(), "s/%555 t/");
  EXPECT_EQ(asUnprivileged([this] {
              ASSERT_EQ(::chmod((dir / "s").c_str(), 0755), 0);
              trees::make(dir.path(), "s/f=1 s/d/g=2");
              ASSERT_EQ(::chmod((dir / "s").c_str(), 0555), 0);
              EXPECT_EQ(move({"s/f"}, "t").messages,
                        placed(Texts{"\"@/s/f\", Cannot copy/move item: Permission denied[13]"}));
              EXPECT_EQ(move({"s/d"}, "t").messages, placed(Texts{"\"@/s/d\", Permission denied"}));
              EXPECT_EQ(left(), "s/d/g=2 s/f=1 t/");
            }),
            "");
}

TEST_F(CopyMoveAttributes, NamesOfEveryByteArrive) {
  trees::make(dir.path(), "d/ t/");
  const Texts names = trees::everyByteNames(dir / "d");
  const std::string shown = trees::snapshot(dir / "d");
  EXPECT_EQ(copy({"d"}, elsewhere / "all", kRecursive).messages, Texts{});
  EXPECT_EQ(trees::snapshot(elsewhere / "all"), shown);
  for (const std::string& name : names) {
    EXPECT_EQ(copy({"d/" + name}, elsewhere / "all", kOverwrite).messages, Texts{}) << name;
    const Said outcome = move({"d/" + name}, "t");
    EXPECT_EQ(outcome.messages, Texts{}) << name;
    EXPECT_EQ(outcome.progress, Texts{dir / ("d/" + name)});
  }
  EXPECT_EQ(trees::snapshot(dir / "t"), shown);
  EXPECT_EQ(trees::snapshot(dir / "d"), "");
  EXPECT_EQ(move({"t"}, elsewhere / "moved", kRecursive).messages, Texts{});
  EXPECT_EQ(trees::snapshot(elsewhere / "moved"), shown);
  EXPECT_EQ(left(), "d/");
}

TEST_F(CopyMoveAttributes, PercentSignsInNamesAreToldAsTheyAre) {
  trees::make(dir.path(), "t/");
  const std::string name = "100%s%n%d";
  ASSERT_EQ(mkfifo((dir / name).c_str(), 0600), 0);
  ASSERT_EQ(mkfifo((dir / ("t/" + name)).c_str(), 0600), 0);
  EXPECT_EQ(copy({name}, "t").messages, Texts{"Can't overwrite \"" + dir / ("t/" + name) +
                                              "\" with \"" + dir / name + "\" file exists"});
}

TEST_F(CopyMoveAttributes, EveryKindArrives) {
  const UmaskGuard none(0);
  trees::make(dir.path(), "s/");
  trees::everyKind(dir / "s");
  const std::string shown = trees::snapshot(dir / "s");
  EXPECT_EQ(copy({"s"}, elsewhere / "t", kRecursive).messages, Texts{});
  EXPECT_EQ(trees::snapshot(elsewhere / "t"), shown);
  EXPECT_EQ(infoOf(elsewhere / "t/fifo").st_mode, infoOf(dir / "s/fifo").st_mode);
  EXPECT_EQ(infoOf(elsewhere / "t/socket").st_mode, infoOf(dir / "s/socket").st_mode);
  EXPECT_EQ(move({"s"}, elsewhere / "u", kRecursive).messages, Texts{});
  EXPECT_EQ(trees::snapshot(elsewhere / "u"), shown);
  EXPECT_EQ(left(), "");
}

TEST_F(CopyMoveAttributes, DevicesArrive) {
  HOQ_NEEDS_ROOT("devices are made");
  const dev_t null = infoOf("/dev/null").st_rdev;
  if (mknod((dir / "null").c_str(), S_IFCHR | 0600, null) != 0)
    GTEST_SKIP() << "devices cannot be made here: " << std::strerror(errno);
  EXPECT_EQ(copy({"null"}, "copied").messages, Texts{});
  EXPECT_EQ(infoOf(dir / "copied").st_rdev, null);
  EXPECT_EQ(infoOf(dir / "copied").st_mode, static_cast<mode_t>(S_IFCHR | 0600));
  EXPECT_EQ(move({"null"}, "moved").messages, Texts{});
  EXPECT_EQ(infoOf(dir / "moved").st_rdev, null);
  EXPECT_EQ(trees::pathsBelow(dir.path()), (Texts{"copied", "moved"}));
}

TEST_F(CopyMoveAttributes, ANameThatIsTooLongForTheTargetIsReported) {
  trees::make(dir.path(), "f=1 d/x=1");
  const std::string name(256, 'n');
  EXPECT_EQ(copy({"f"}, name).messages,
            placed(Texts{"\"@/f\", Cannot create file to write: File name too long[36]"}));
  EXPECT_EQ(copy({"d"}, name, kRecursive).messages,
            placed(Texts{"\"@/d\", Cannot create directory: File name too long[36]"}));
  EXPECT_EQ(move({"f"}, name).messages,
            placed(Texts{"\"@/f\", Cannot create file to write: File name too long[36]"}));
  EXPECT_EQ(move({"d"}, name).messages, placed(Texts{"\"@/d\", File name too long"}));
  EXPECT_EQ(left(), "d/x=1 f=1");
}

}  // namespace
}  // namespace HOQ::test
