#include "OwnerText.h"

#include <gtest/gtest.h>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

using Kind = OwnerPart::Kind;

struct Row {
  const char* text;
  Kind userKind;
  const char* user;
  std::uint32_t uid;
  Kind groupKind;
  const char* group;
  std::uint32_t gid;
  bool loginGroup;
};

const Row kRows[] = {
    {"root", Kind::kName, "root", 0, Kind::kUnchanged, "", 0, false},
    {"root:staff", Kind::kName, "root", 0, Kind::kName, "staff", 0, false},
    {":staff", Kind::kUnchanged, "", 0, Kind::kName, "staff", 0, false},
    {"root:", Kind::kName, "root", 0, Kind::kUnchanged, "", 0, true},
    {"+0", Kind::kId, "", 0, Kind::kUnchanged, "", 0, false},
    {"+1000:+100", Kind::kId, "", 1000, Kind::kId, "", 100, false},
    {":+4294967294", Kind::kUnchanged, "", 0, Kind::kId, "", 4294967294, false},
    {"root:+7", Kind::kName, "root", 0, Kind::kId, "", 7, false},
    {"+7:staff", Kind::kId, "", 7, Kind::kName, "staff", 0, false},
    {"1000:100", Kind::kName, "1000", 0, Kind::kName, "100", 0, false},
    {"a.b", Kind::kName, "a.b", 0, Kind::kUnchanged, "", 0, false},
};

TEST(OwnerText, TellsNamesIdsAndWhatStays) {
  for (const Row& row : kRows) {
    const OwnerText owner = parseOwner(row.text);
    EXPECT_EQ(owner.user.kind, row.userKind) << row.text;
    EXPECT_EQ(owner.user.name, row.user) << row.text;
    EXPECT_EQ(owner.user.id, row.uid) << row.text;
    EXPECT_EQ(owner.group.kind, row.groupKind) << row.text;
    EXPECT_EQ(owner.group.name, row.group) << row.text;
    EXPECT_EQ(owner.group.id, row.gid) << row.text;
    EXPECT_EQ(owner.loginGroup, row.loginGroup) << row.text;
  }
}

TEST(OwnerText, RefusesWhatNamesNobody) {
  for (const char* text : {"", ":", "+", "+:", ":+", "+x", "+1x", "+-1", "+ 1", "+4294967295",
                           "+99999999999999999999", "root:+", "root:+4294967295", "+7:"}) {
    try {
      (void)parseOwner(text);  // of no use: it has to throw
      FAIL() << text;
    } catch (const CommandError& error) {
      EXPECT_EQ(error.status, kExitUsage) << text;
    }
  }
}

}  // namespace
}  // namespace HOQ::cli
