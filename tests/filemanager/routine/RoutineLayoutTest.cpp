// Hosts are compiled against the order of the routine's virtual operations and fields.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <dirent.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "routine/HOQFileRoutineLin.h"
#include "routine/OpenDirHandle.h"
#include "support/MemberProbe.h"
#include "support/SlotProbe.h"

namespace HOQ::test {
namespace {

using R = HOQFileRoutine;

TEST(RoutineLayout, OperationsStandInTheirSlots) {
  int slot = 2;  // the destructor takes the first two entries
  EXPECT_EQ(slotOf<int (R::*)(const char*, const char*, void*&)>(&R::convown), slot++);
  EXPECT_EQ(slotOf<int (R::*)(unsigned, unsigned, void*&)>(&R::convown), slot++);
  EXPECT_EQ(slotOf(&R::getown), slot++);
  EXPECT_EQ(slotOf<int (R::*)(void*, std::string&, std::string&)>(&R::convown), slot++);
  EXPECT_EQ(slotOf<int (R::*)(void*, unsigned&, unsigned&)>(&R::convown), slot++);
  EXPECT_EQ(slotOf(&R::chown), slot++);
  EXPECT_EQ(slotOf(&R::freeown), slot++);
  EXPECT_EQ(slotOf(&R::chmod), slot++);
  EXPECT_EQ(slotOf(&R::link), slot++);
  EXPECT_EQ(slotOf(&R::readlink), slot++);
  EXPECT_EQ(slotOf(&R::rmlink), slot++);
  EXPECT_EQ(slotOf(&R::remove), slot++);
  EXPECT_EQ(slotOf(&R::rmdir), slot++);
  EXPECT_EQ(slotOf(&R::rmitem), slot++);
  EXPECT_EQ(slotOf(&R::mkdir), slot++);
  EXPECT_EQ(slotOf(&R::copy), slot++);
  EXPECT_EQ(slotOf(&R::move), slot++);
  EXPECT_EQ(slotOf(&R::stat), slot++);
  EXPECT_EQ(slotOf(&R::fill), slot++);
  EXPECT_EQ(slotOf(&R::open), slot++);
  EXPECT_EQ(slotOf(&R::close), slot++);
  EXPECT_EQ(slotOf(&R::isOpened), slot++);
  EXPECT_EQ(slotOf(&R::read), slot++);
  EXPECT_EQ(slotOf(&R::write), slot++);
  EXPECT_EQ(slotOf(&R::seek), slot++);
  EXPECT_EQ(slotOf(&R::opendir), slot++);
  EXPECT_EQ(slotOf(&R::namedir), slot++);
  EXPECT_EQ(slotOf(&R::readdir), slot++);
  EXPECT_EQ(slotOf(&R::closedir), slot++);
  EXPECT_EQ(slotOf(&R::setFilters), slot++);
  EXPECT_EQ(slotOf(&R::getLastError), slot++);
  EXPECT_EQ(slotOf(&R::getType), slot++);
  EXPECT_EQ(slot, 34);
  EXPECT_EQ(slotOf(&HOQFileRoutineLin::setCredentials), 34);
}

TEST(RoutineLayout, TheHelpersAreNotVirtual) {
  EXPECT_EQ(slotOf(&R::convert), -1);
  EXPECT_EQ(slotOf(&R::readlinkS), -1);
  EXPECT_EQ(slotOf(&R::cpOptions), -1);
  EXPECT_EQ(slotOf(&R::cpOwn), -1);
  EXPECT_EQ(slotOf(&R::isDir), -1);
}

TEST(RoutineLayout, FieldsStandInOrder) {
  const HOQFileRoutineLin routine("");
  const HOQFileRoutine& base = routine;
  EXPECT_EQ(offsetIn(base, base.filters), sizeof(void*));
  EXPECT_EQ(offsetIn(base, base.securityAttributes), 2 * sizeof(void*));
  EXPECT_EQ(offsetIn(base, base.followLinks), 3 * sizeof(void*));
  EXPECT_EQ(offsetIn(base, base.statBuffer), 4 * sizeof(void*));
  EXPECT_EQ(offsetIn(base, base.path), 4 * sizeof(void*) + sizeof(struct stat));
  EXPECT_EQ(sizeof(HOQFileRoutine), 4 * sizeof(void*) + sizeof(struct stat) + sizeof(std::string));
}

HOQ_PROBE_MEMBER(Fd, HOQFileRoutineLin, fd, int);
HOQ_PROBE_MEMBER(UgFilterFlags, HOQFileRoutineLin, ugFilterFlags, char);
HOQ_PROBE_MEMBER(Users, HOQFileRoutineLin, users, std::set<UserId>);
HOQ_PROBE_MEMBER(Groups, HOQFileRoutineLin, groups, std::set<UserId>);
HOQ_PROBE_MEMBER(TablesLoaded, HOQFileRoutineLin, tablesLoaded, bool);

TEST(RoutineLayout, TheLinuxRoutinesFieldsFollowInOrder) {
  const HOQFileRoutineLin routine("");
  const std::size_t start = sizeof(HOQFileRoutine);
  EXPECT_EQ(offsetIn(routine, routine.*memberOf(Fd())), start);
  EXPECT_EQ(offsetIn(routine, routine.*memberOf(UgFilterFlags())), start + 4);
  EXPECT_EQ(offsetIn(routine, routine.*memberOf(Users())), start + 8);
  EXPECT_EQ(offsetIn(routine, routine.*memberOf(Groups())), start + 8 + sizeof(std::set<UserId>));
  EXPECT_EQ(offsetIn(routine, routine.*memberOf(TablesLoaded())),
            start + 8 + 2 * sizeof(std::set<UserId>));
  EXPECT_EQ(routine.*memberOf(Fd()), -1);
  EXPECT_EQ(routine.*memberOf(UgFilterFlags()), 0);
  EXPECT_FALSE(routine.*memberOf(TablesLoaded()));
}

TEST(RoutineLayout, TheFilterFlagsAreThoseOfTheList) {
  HOQFileRoutineLin routine("");
  std::vector<HOQFileFilter> filters(2);
  filters[0].valid = HOQFileFilter::kUserPattern;
  filters[0].userPattern = "u";
  filters[1].valid = HOQFileFilter::kGroupPattern;
  filters[1].groupPattern = "g";
  routine.setFilters(&filters);
  EXPECT_EQ(routine.*memberOf(UgFilterFlags()), 3);
  filters.pop_back();
  routine.setFilters(&filters);
  EXPECT_EQ(routine.*memberOf(UgFilterFlags()), 1);
  routine.setFilters(nullptr);
  EXPECT_EQ(routine.*memberOf(UgFilterFlags()), 0);
}

HOQ_PROBE_MEMBER(HandleDir, OpenDirHandle, dir, DIR*);
HOQ_PROBE_MEMBER(HandleEntry, OpenDirHandle, entry, struct dirent*);
using Dots = char[3];
HOQ_PROBE_MEMBER(HandleDots, OpenDirHandle, dots, Dots);

TEST(RoutineLayout, AnOpenDirectorysFieldsStandInOrder) {
  const OpenDirHandle handle;
  EXPECT_EQ(offsetIn(handle, handle.*memberOf(HandleDir())), 0U);
  EXPECT_EQ(offsetIn(handle, handle.*memberOf(HandleEntry())), sizeof(void*));
  EXPECT_EQ(offsetIn(handle, handle.*memberOf(HandleDots())), 2 * sizeof(void*));
}

TEST(RoutineLayout, AnOwnerHandleIsTwoIdsThatAreNotGiven) {
  const Gids ids;
  EXPECT_EQ(offsetIn(ids, ids.uid), 0U);
  EXPECT_EQ(offsetIn(ids, ids.gid), 4U);
  EXPECT_EQ(ids.uid, 0xFFFFFFFFU);
  EXPECT_EQ(ids.gid, 0xFFFFFFFFU);
}

/// The least that makes a routine: what it does not say is the base's.
class BareRoutine : public HOQFileRoutineLin {
 public:
  using HOQFileRoutineLin::HOQFileRoutineLin;
  int remove() override {
    ++removals;
    return 17;
  }
  int removals = 0;
};

TEST(RoutineBase, RmlinkIsRemove) {
  BareRoutine routine("x");
  EXPECT_EQ(routine.rmlink(), 17);
  EXPECT_EQ(routine.removals, 1);
}

TEST(RoutineBase, IsOfNoKind) {
  HOQFileRoutineLin routine("");
  EXPECT_EQ(routine.HOQFileRoutine::getType(), 0xFFFFFFFFU);
  EXPECT_EQ(routine.getType(), 2U);
}

TEST(RoutineBase, ConvertKeepsPathsAsTheyAre) {
  HOQFileRoutineLin routine("");
  std::string to = "old";
  routine.convert("/a//b/", to);
  EXPECT_EQ(to, "/a//b/");
}

TEST(RoutineBase, MakePathAppendsAPieceAndTakesOneDividerOff) {
  struct Row {
    const char* path;
    const char* piece;  // null: none
    int length;         // below 0: to its end
    const char* made;
  };
  const Row rows[] = {
      {"/a/", "b", -1, "/a/b"},   {"/a", "b", -1, "/a/b"},    {"/a/", nullptr, -1, "/a"},
      {"/a", nullptr, -1, "/a"},  {"/a/", "", -1, "/a"},      {"/", nullptr, -1, ""},
      {"/", "b", -1, "/b"},       {"", "b", -1, "b"},         {"", nullptr, -1, ""},
      {"a//", nullptr, -1, "a/"}, {"/a", "bcd", 2, "/a/bc"},  {"/a/", "bcd", 0, "/a"},
      {"/a", "b/", -1, "/a/b"},   {"/a", "b//", -1, "/a/b/"}, {"/a", "b/c", 2, "/a/b"},
      {"a//", "b", -1, "a//b"},
  };
  for (const Row& row : rows) {
    std::string path = row.path;
    HOQFileRoutine::makePath(path, row.piece, row.length < 0 ? nullptr : row.piece + row.length);
    EXPECT_EQ(path, row.made) << row.path << " + " << (row.piece ? row.piece : "(null)");
  }
}

}  // namespace
}  // namespace HOQ::test
