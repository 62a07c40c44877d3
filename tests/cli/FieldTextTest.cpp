#include "output/FieldText.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

namespace HOQ::cli {
namespace {

TEST(FieldText, ShowsTypeAndPermissionsAsLsDoes) {
  const struct {
    std::uint32_t type;
    std::uint32_t permissions;
    const char* text;
  } cases[] = {
      {8, 0644, "-rw-r--r--"},  {4, 0755, "drwxr-xr-x"},  {10, 0777, "lrwxrwxrwx"},
      {1, 0, "p---------"},     {12, 0111, "s--x--x--x"}, {6, 0660, "brw-rw----"},
      {2, 0222, "c-w--w--w-"},  {8, 04755, "-rwsr-xr-x"}, {8, 04644, "-rwSr--r--"},
      {4, 02755, "drwxr-sr-x"}, {8, 02644, "-rw-r-Sr--"}, {4, 01777, "drwxrwxrwt"},
      {4, 01776, "drwxrwxrwT"}, {8, 07777, "-rwsrwsrwt"}, {0, 0644, "?rw-r--r--"},
  };
  for (const auto& row : cases) {
    HOQFileType record;
    record.type = row.type;
    record.permissions = row.permissions;
    const auto text = modeText(record);
    EXPECT_EQ(std::string(text.data(), text.size()), row.text);
  }
}

TEST(FieldText, RoundsHumanSizesUp) {
  const struct {
    std::uint64_t bytes;
    const char* text;
  } cases[] = {
      {0, "0"},
      {1023, "1023"},
      {1024, "1.0K"},
      {1025, "1.1K"},
      {10239, "10K"},
      {10240, "10K"},
      {10241, "11K"},
      {1024 * 1024 - 1, "1.0M"},
      {1024 * 1024, "1.0M"},
      {3000, "3.0K"},
      {1ULL << 40, "1.0T"},
      {UINT64_MAX, "16E"},
  };
  for (const auto& row : cases) EXPECT_EQ(sizeText(row.bytes, true), row.text) << row.bytes;
  EXPECT_EQ(sizeText(UINT64_MAX, false), "18446744073709551615");
}

TEST(FieldText, ShowsTheIdWhereThereIsNoName) {
  EXPECT_EQ(ownerText("root", 0), "root");
  EXPECT_EQ(ownerText("", 7), "7");
  EXPECT_EQ(ownerText("unknown", 7), "7");
}

class TimeZone : public ::testing::Test {
 protected:
  void use(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  void TearDown() override {
    ::unsetenv("TZ");
    ::tzset();
  }
};

TEST_F(TimeZone, TimesAreLocalAndRememberedByMinute) {
  const struct {
    const char* zone;
    std::int64_t seconds;
    const char* text;
  } cases[] = {
      {"UTC0", 0, "1970-01-01 00:00"},         {"UTC0", 59, "1970-01-01 00:00"},
      {"UTC0", 60, "1970-01-01 00:01"},        {"UTC0", -1, "1969-12-31 23:59"},
      {"UTC0", -60, "1969-12-31 23:59"},       {"UTC0", -61, "1969-12-31 23:58"},
      {"UTC0", 256 * 60, "1970-01-01 04:16"},  // shares its place in the memory with 0
      {"UTC0", 0, "1970-01-01 00:00"},         {"UTC0", INT64_MAX, "@9223372036854775807"},
      {"XXX-5:30", 0, "1970-01-01 05:30"},     {"XXX-0:00:30", 0, "1970-01-01 00:00"},
      {"XXX-0:00:30", 31, "1970-01-01 00:01"},  // the minute begins elsewhere
  };
  for (const auto& row : cases) {
    use(row.zone);
    TimeText times;
    EXPECT_EQ(times.of(row.seconds), row.text) << row.zone << " " << row.seconds;
    EXPECT_EQ(times.of(row.seconds), row.text) << "again";
  }
}

TEST_F(TimeZone, MinutesOfOneMemoryPlaceDoNotMix) {
  use("UTC0");
  TimeText times;
  EXPECT_EQ(times.of(0), "1970-01-01 00:00");
  EXPECT_EQ(times.of(256 * 60), "1970-01-01 04:16");
  EXPECT_EQ(times.of(0), "1970-01-01 00:00");
}

}  // namespace
}  // namespace HOQ::cli
