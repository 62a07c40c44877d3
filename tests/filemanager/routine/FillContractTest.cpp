#include <sys/stat.h>

#include <string>
#include <utility>
#include <vector>

#include "filemanager/routine/RoutineWorld.h"

namespace HOQ::test {
namespace {

constexpr unsigned kStatFields = 0x5EB;
using Filters = std::vector<HOQFileFilter>;

class FillContract : public RoutineContract {
 protected:
  void SetUp() override {
    makeFile("f", "12345");
    makeDirectory("d");
    makeLink("l", "f");
    world->makeFifo("p");
  }

  /// A routine that has examined its path.
  std::unique_ptr<HOQFileRoutine> examined(const std::string& name) {
    auto routine = at(name);
    EXPECT_EQ(routine->stat(), 0) << name;
    return routine;
  }
};
HOQ_ALL_WORLDS(FillContract);

struct NameCase {
  const char* given;
  bool keepName;
  bool withFilters;  // a list with one filter that catches nothing
  unsigned mask;
  const char* stored;  // "@": the routine's whole path
};

const NameCase kNames[] = {
    {"f", false, false, 0, "f"},
    {"a/b/f", false, false, 0, "a/b/f"},
    {"a/b/f", false, false, 0x400, "f"},
    {"a/b/f", false, true, 0, "f"},
    {"a/b/f", true, false, 0x400, "a/b/f"},
    {"a/b/f", true, true, 0x400, "a/b/f"},
    {"a/", false, false, 0x400, "@"},
    {"a/", false, true, 0, "@"},
    {"a/", false, false, 0, "a/"},
    {"a/", true, false, 0x400, "a/"},
    {"", false, false, 0x400, "@"},
    {"", false, false, 0, ""},
    {"..", true, false, 0x400, ".."},
    {"100%s", false, false, 0x400, "100%s"},
};

TEST_P(FillContract, TheNameIsCutOnlyWhereItIsAskedForOrFilteredBy) {
  const Filters harmless(1);
  for (const NameCase& row : kNames) {
    SCOPED_TRACE(std::string("\"") + row.given + "\"" + (row.keepName ? " kept" : "") +
                 (row.withFilters ? " with filters" : "") + " mask " + std::to_string(row.mask));
    const auto routine = examined("f");
    if (row.withFilters) routine->setFilters(&harmless);
    HOQFileType info;
    EXPECT_EQ(routine->fill(info, row.given, row.keepName, row.mask), 0);
    EXPECT_EQ(info.name, row.stored[0] == '@' ? routine->path : row.stored);
  }
}

TEST_P(FillContract, AnEmptyFilterListLeavesTheName) {
  const Filters none;
  const auto routine = examined("f");
  routine->setFilters(&none);
  HOQFileType info;
  EXPECT_EQ(routine->fill(info, "a/f", false, 0), 0);
  EXPECT_EQ(info.name, "a/f");
  HOQFileType cut;
  EXPECT_EQ(routine->fill(cut, "a/f", false, 0x400), 0);
  EXPECT_EQ(cut.name, "f");
}

TEST_P(FillContract, WhatTheExaminationGaveIsAlwaysWritten) {
  for (const unsigned mask : {0U, 0x1U, 0x40U, 0x5EBU, 0xFFFFFFFFU & ~0x814U}) {
    SCOPED_TRACE(mask);
    ASSERT_EQ(at("f")->chmod(04751), 0);
    const auto routine = examined("f");
    HOQFileType info;
    EXPECT_EQ(routine->fill(info, "f", false, mask), 0);
    EXPECT_EQ(info.name, "f");
    EXPECT_EQ(info.type, 8U);
    EXPECT_EQ(info.permissions, 04751U);
    EXPECT_EQ(info.uid, routine->statBuffer.st_uid);
    EXPECT_EQ(info.gid, routine->statBuffer.st_gid);
    EXPECT_EQ(info.size, 5U);
    EXPECT_EQ(info.mtime, routine->statBuffer.st_mtim.tv_sec);
    EXPECT_EQ(info.nlink, 1U);
    EXPECT_EQ(info.valid, mask & kStatFields);
  }
}

TEST_P(FillContract, BitsThatWereMarkedStayMarked) {
  HOQFileType info;
  info.setValid(0x1000);
  EXPECT_EQ(examined("f")->fill(info, "f", false, 0x40), 0);
  EXPECT_EQ(info.valid, 0x1040U);
}

TEST_P(FillContract, EachKindHasItsNumber) {
  const std::vector<std::pair<const char*, unsigned>> kinds = {
      {"f", 8}, {"d", 4}, {"l", 10}, {"p", 1}};
  for (const auto& [name, type] : kinds) {
    HOQFileType info;
    EXPECT_EQ(examined(name)->fill(info, name, false, 0x1), 0);
    EXPECT_EQ(info.type, type) << name;
  }
}

TEST_P(FillContract, ALinksTargetIsFilledOnRequestAndOnlyForLinks) {
  HOQFileType link;
  EXPECT_EQ(examined("l")->fill(link, "l", false, 0x200), 0);
  EXPECT_EQ(link.linkTarget, "f");
  EXPECT_EQ(link.valid, 0x200U);
  HOQFileType unasked;
  EXPECT_EQ(examined("l")->fill(unasked, "l", false, 0x1), 0);
  EXPECT_EQ(unasked.linkTarget, "");
  HOQFileType file;
  EXPECT_EQ(examined("f")->fill(file, "f", false, 0x200), 0);
  EXPECT_EQ(file.linkTarget, "");
  EXPECT_EQ(file.valid, 0U);
}

TEST_P(FillContract, OnlyRegularFilesHaveAContentType) {
  for (const char* name : {"d", "l", "p"}) {
    HOQFileType info;
    EXPECT_EQ(examined(name)->fill(info, name, false, 0x800), 0);
    EXPECT_EQ(info.contentType, "") << name;
    EXPECT_EQ(info.valid, 0U) << name;
  }
  HOQFileType file;
  EXPECT_EQ(examined("f")->fill(file, "f", false, 0x800), 0);
  EXPECT_NE(file.contentType, "");
  EXPECT_EQ(file.valid, 0x800U);
  HOQFileType unasked;
  EXPECT_EQ(examined("f")->fill(unasked, "f", false, 0x1), 0);
  EXPECT_EQ(unasked.contentType, "");
}

TEST_P(FillContract, OwnerNamesAreFilledOnRequest) {
  void* owner = nullptr;
  const auto routine = at("f");
  ASSERT_EQ(routine->convown(world->uid(), world->gid(), owner), 0);
  ASSERT_EQ(routine->chown(owner), 0);
  EXPECT_EQ(routine->freeown(owner), 0);
  HOQFileType both;
  EXPECT_EQ(examined("f")->fill(both, "f", false, 0x14), 0);
  EXPECT_EQ(both.user, world->userName());
  EXPECT_EQ(both.group, world->groupName());
  EXPECT_EQ(both.valid, 0x14U);
  HOQFileType user;
  EXPECT_EQ(examined("f")->fill(user, "f", false, 0x4), 0);
  EXPECT_EQ(user.user, world->userName());
  EXPECT_EQ(user.group, "");
  EXPECT_EQ(user.valid, 0x4U);
  HOQFileType group;
  EXPECT_EQ(examined("f")->fill(group, "f", false, 0x10), 0);
  EXPECT_EQ(group.user, "");
  EXPECT_EQ(group.group, world->groupName());
  EXPECT_EQ(group.valid, 0x10U);
  HOQFileType none;
  EXPECT_EQ(examined("f")->fill(none, "f", false, 0x1), 0);
  EXPECT_EQ(none.user + none.group, "");
}

HOQFileFilter uidFilter(unsigned uid) {
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kUid;
  filter.uid = uid;
  return filter;
}

HOQFileFilter nameFilter(const char* text) {
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kNamePattern;
  filter.namePattern = text;
  return filter;
}

TEST_P(FillContract, TheFirstFilterThatCatchesEndsIt) {
  const auto routine = examined("l");
  const unsigned own = routine->statBuffer.st_uid;
  const Filters filters = {uidFilter(own), uidFilter(own + 1)};
  routine->setFilters(&filters);
  HOQFileType info;
  EXPECT_EQ(routine->fill(info, "l", false, 0xFFF), 1);
  EXPECT_EQ(info.type, 10U);
  EXPECT_EQ(info.valid, kStatFields);  // what comes after the filters is not filled
  EXPECT_EQ(info.linkTarget, "");
  const Filters harmless = {uidFilter(own), uidFilter(own)};
  routine->setFilters(&harmless);
  HOQFileType passed;
  EXPECT_EQ(routine->fill(passed, "l", false, 0x1), 0);
}

TEST_P(FillContract, NameFiltersSeeTheBaseNameAndNotAKeptOne) {
  const Filters filters = {nameFilter("f")};
  const auto routine = examined("f");
  routine->setFilters(&filters);
  HOQFileType info;
  EXPECT_EQ(routine->fill(info, "a/f", false, 0), 1);
  HOQFileType kept;
  EXPECT_EQ(routine->fill(kept, "f", true, 0), 0);
  HOQFileType other;
  EXPECT_EQ(routine->fill(other, "g", false, 0), 0);
}

HOQFileFilter ownerFilter(unsigned bit, const std::string& text) {
  HOQFileFilter filter;
  filter.valid = bit;
  (bit == HOQFileFilter::kUserPattern ? filter.userPattern : filter.groupPattern) = text;
  return filter;
}

TEST_P(FillContract, OwnerFiltersCatchByNameWithoutNamesBeingAskedFor) {
  const auto owned = at("f");
  void* owner = nullptr;
  ASSERT_EQ(owned->convown(world->uid(), world->gid(), owner), 0);
  ASSERT_EQ(owned->chown(owner), 0);
  EXPECT_EQ(owned->freeown(owner), 0);
  const Filters caught[] = {
      {ownerFilter(HOQFileFilter::kUserPattern, world->userName())},
      {ownerFilter(HOQFileFilter::kGroupPattern, world->groupName())},
      {ownerFilter(HOQFileFilter::kUserPattern, "other"),
       ownerFilter(HOQFileFilter::kGroupPattern, world->groupName())},
  };
  for (const Filters& filters : caught) {
    const auto routine = examined("f");
    routine->setFilters(&filters);
    HOQFileType info;
    EXPECT_EQ(routine->fill(info, "f", false, 0), 1);
    EXPECT_EQ(info.valid, 0U);
  }
  const Filters passed[] = {
      {ownerFilter(HOQFileFilter::kUserPattern, "other")},
      {ownerFilter(HOQFileFilter::kGroupPattern, "other")},
      {ownerFilter(HOQFileFilter::kUserPattern, "")},  // without a text there is nothing to test
  };
  for (const Filters& filters : passed) {
    const auto routine = examined("f");
    routine->setFilters(&filters);
    HOQFileType info;
    EXPECT_EQ(routine->fill(info, "f", false, 0x14), 0);
    EXPECT_EQ(info.user, world->userName());
  }
}

TEST_P(FillContract, FiltersThatAreTakenAwayCatchNoMore) {
  const Filters filters = {ownerFilter(HOQFileFilter::kUserPattern, world->userName()),
                           uidFilter(0x12345678)};
  const auto routine = examined("f");
  routine->setFilters(&filters);
  HOQFileType info;
  EXPECT_EQ(routine->fill(info, "f", false, 0), 1);
  routine->setFilters(nullptr);
  EXPECT_EQ(routine->fill(info, "f", false, 0), 0);
}

}  // namespace
}  // namespace HOQ::test
