#include "Conditions.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

HOQFileType record(std::uint32_t type, std::uint64_t size, std::int64_t mtime, std::uint32_t uid,
                   std::uint32_t gid, const char* name) {
  HOQFileType made;
  made.type = type;
  made.size = size;
  made.mtime = mtime;
  made.uid = uid;
  made.gid = gid;
  made.name = name;
  return made;
}

TEST(Conditions, KeepWhatMeetsThem) {
  const HOQFileType file = record(HOQFileType::kRegular, 1024, 1000, 0, 5, "main.c");
  const struct {
    const char* condition;
    bool kept;
  } cases[] = {
      {"size=1024", true},
      {"size=1k", true},
      {"size=1K", true},
      {"size!=1k", false},
      {"size>1k", false},
      {"size>=1k", true},
      {"size<1k", false},
      {"size<=1k", true},
      {"size<1M", true},
      {"size>0", true},
      {"size<0", false},
      {"size>9223372036854775807", false},
      {"type=f", true},
      {"type=d", false},
      {"type!=d", true},
      {"mtime=@1000", true},
      {"mtime>@999", true},
      {"mtime<@1000", false},
      {"mtime!=@1000", false},
      {"mtime<2025-01-01", true},
      {"mtime>=2025-01-01T00:00", false},
      {"uid=0", true},
      {"uid!=0", false},
      {"uid>0", false},
      {"uid<0", false},
      {"user=root", true},
      {"user!=root", false},
      {"user=0", true},
      {"gid=5", true},
      {"gid<5", false},
      {"gid<=5", true},
      {"group=5", true},
      {"group=root", false},
      {"name=main.c", true},
      {"name=*.c", true},
      {"name=*.h", false},
      {"name!=*.h", true},
      {"name=[m]ain?c", true},
      {"name=", false},
      {"name!=", true},
      {"ctime>@5", true},
  };
  for (const auto& row : cases)
    EXPECT_EQ(Conditions({row.condition}).matches(file), row.kept) << row.condition;
}

TEST(Conditions, MustAllHold) {
  const HOQFileType file = record(HOQFileType::kRegular, 10, 0, 0, 0, "f");
  EXPECT_TRUE(Conditions({"size>5", "size<15"}).matches(file));
  EXPECT_FALSE(Conditions({"size>5", "size<10"}).matches(file));
  EXPECT_TRUE(Conditions(std::vector<std::string>()).matches(file));
}

TEST(Conditions, RefuseWhatIsNone) {
  for (const char* text : {"",
                           "size",
                           "=1",
                           "size=",
                           "size=x",
                           "size=1.5k",
                           "size=-1",
                           "size=1kk",
                           "size=k",
                           "size=9223372036854775807k",
                           "size==1",
                           "size=>1",
                           "size!1",
                           "sizes=1",
                           "type=x",
                           "type=",
                           "type=fd",
                           "type>f",
                           "mtime=yesterday",
                           "mtime=2025-13-01",
                           "mtime=2025-06-31",
                           "mtime=2025-01-01T25:00",
                           "mtime=2025-01-01x",
                           "mtime=@",
                           "mtime=@1.5",
                           "ctime!=@1",
                           "user=",
                           "user=no such user",
                           "user>root",
                           "group=no such group",
                           "uid=-1",
                           "uid=4294967295",
                           "uid=root",
                           "name>x",
                           "owner=root",
                           " size=1"}) {
    try {
      Conditions conditions({text});
      FAIL() << text;
    } catch (const CommandError& error) {
      EXPECT_EQ(error.status, kExitUsage) << text;
      EXPECT_EQ(std::string(error.what()).find("--filter \"" + std::string(text) + "\": "), 0U);
    }
  }
}

HOQFileFilter onlyFilter(const char* condition) {
  const auto filters = Conditions({condition}).filters();
  EXPECT_EQ(filters.size(), 1U) << condition;
  return filters.empty() ? HOQFileFilter() : filters.front();
}

TEST(Conditions, BecomeTheRecordThatSaysTheSame) {
  const struct {
    const char* condition;
    std::uint32_t valid;
    std::int64_t least;
    std::int64_t largest;
  } sizes[] = {
      {"size>=10", 1024, 10, 0},
      {"size>10", 1024, 11, 0},
      {"size<=10", 512, 0, 10},
      {"size<10", 512, 0, 9},
      {"size<0", 512, 0, -1},
      {"size=10", 1536, 10, 10},
      {"size>9223372036854775807", 1536, INT64_MAX, INT64_MAX - 1},
  };
  for (const auto& row : sizes) {
    const HOQFileFilter filter = onlyFilter(row.condition);
    EXPECT_EQ(filter.valid, row.valid) << row.condition;
    EXPECT_EQ(filter.sizeMin, row.least) << row.condition;
    EXPECT_EQ(filter.sizeMax, row.largest) << row.condition;
    EXPECT_EQ(filter.uidMax, 0xFFFFFFFF) << row.condition;
    EXPECT_EQ(filter.gidMax, 0xFFFFFFFF) << row.condition;
  }
  EXPECT_EQ(onlyFilter("ctime>=@7").valid, 128U);
  EXPECT_EQ(onlyFilter("ctime>=@7").timeMin, 7);
  EXPECT_EQ(onlyFilter("ctime<@7").valid, 256U);
  EXPECT_EQ(onlyFilter("ctime<@7").timeMax, 6);
  EXPECT_EQ(onlyFilter("type=l").valid, 1U);
  EXPECT_EQ(onlyFilter("type=l").type, 10U);
}

TEST(Conditions, BoundIdsByTheRecordsRanges) {
  const struct {
    const char* condition;
    std::uint32_t valid, uidMin, uidMax;
  } cases[] = {
      {"uid=5", 8, 5, 5},  {"uid>=5", 8, 5, 0xFFFFFFFF}, {"uid>5", 8, 6, 0xFFFFFFFF},
      {"uid<=5", 0, 0, 5}, {"uid<5", 0, 0, 4},           {"user=root", 8, 0, 0},
  };
  for (const auto& row : cases) {
    const HOQFileFilter filter = onlyFilter(row.condition);
    EXPECT_EQ(filter.valid, row.valid) << row.condition;
    EXPECT_EQ(filter.uidMin, row.uidMin) << row.condition;
    EXPECT_EQ(filter.uidMax, row.uidMax) << row.condition;
    EXPECT_EQ(filter.gidMax, 0xFFFFFFFF) << row.condition;
  }
  EXPECT_EQ(onlyFilter("gid=5").valid, 64U);
  EXPECT_EQ(onlyFilter("gid<5").gidMax, 4U);
}

TEST(Conditions, SendNoRecordThatWouldSaySomethingElse) {
  for (const char* text : {"size!=1", "type!=f", "mtime>@1", "name=a", "name!=a", "user!=root",
                           "uid!=1", "uid<0", "gid<0"})
    EXPECT_TRUE(Conditions({text}).filters().empty()) << text;
}

TEST(Conditions, NeedTheirRecordOnlyForCtime) {
  const Conditions conditions({"size>1", "ctime>@1", "name=a"});
  EXPECT_EQ(conditions.filters().size(), 2U);
  ASSERT_EQ(conditions.indispensableFilters().size(), 1U);
  EXPECT_EQ(conditions.indispensableFilters().front().valid, 128U);
}

TEST(Conditions, TakeDatesInLocalTime) {
  ::setenv("TZ", "XXX-2", 1);
  ::tzset();
  const Conditions midnight({"mtime=2025-06-01"});
  const Conditions second({"mtime=2025-06-01T02:00:01"});
  ::unsetenv("TZ");
  ::tzset();
  constexpr std::int64_t kMidnightUtc = 1748736000;
  EXPECT_TRUE(midnight.matches(record(8, 0, kMidnightUtc - 7200, 0, 0, "f")));
  EXPECT_TRUE(second.matches(record(8, 0, kMidnightUtc + 1, 0, 0, "f")));
}

}  // namespace
}  // namespace HOQ::cli
