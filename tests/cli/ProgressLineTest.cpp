#include "progress/ProgressLine.h"

#include <gtest/gtest.h>

namespace HOQ::cli {
namespace {

using std::chrono::milliseconds;

constexpr std::uint64_t kMiB = 1024 * 1024;

Standing standing(Amount done, std::optional<Amount> total, std::int64_t ms) {
  return {done, total, milliseconds(ms)};
}

struct Row {
  Standing standing;
  const char* line;
};

const Row kRows[] = {
    {standing({0, 0}, {}, 0), "0 items, 0 B, 0 s"},
    {standing({1, 0}, {}, 999), "1 item, 0 B, 0 s"},
    {standing({12, 3 * kMiB}, {}, 3000), "12 items, 3.0 MiB, 1.0 MiB/s, 3 s"},
    {standing({12, 600}, {}, 2000), "12 items, 600 B, 300 B/s, 2 s"},
    {standing({12, 0}, {}, 61'000), "12 items, 0 B, 1:01"},
    {standing({12, 0}, {}, 3'661'000), "12 items, 0 B, 1:01:01"},
    {standing({0, 0}, Amount{100, 20 * kMiB}, 0), "0 of 100 items, 0 B of 20 MiB"},
    {standing({0, 0}, Amount{100, 20 * kMiB}, 5000), "0 of 100 items, 0 B of 20 MiB"},
    {standing({50, 10 * kMiB}, Amount{100, 20 * kMiB}, 5000),
     "50 of 100 items, 10 MiB of 20 MiB, 2.0 MiB/s, 5 s left"},
    {standing({1, 0}, Amount{4, 0}, 30'000), "1 of 4 items, 0 B of 0 B, 1:30 left"},
    {standing({100, 20 * kMiB}, Amount{100, 20 * kMiB}, 10'000),
     "100 of 100 items, 20 MiB of 20 MiB, 2.0 MiB/s"},
    // More than was counted: the count was wrong, so nothing is said of it.
    {standing({101, 0}, Amount{100, 20 * kMiB}, 1000), "101 items, 0 B, 1 s"},
    {standing({9, 2048}, Amount{100, 1024}, 1000), "9 items, 2.0 KiB, 2.0 KiB/s, 1 s"},
};

TEST(ProgressLine, SaysWhereTheWorkStands) {
  for (const Row& row : kRows) EXPECT_EQ(progressLine(row.standing), row.line);
}

TEST(ProgressLine, TheSummaryLeavesTimesToOthers) {
  EXPECT_EQ(summaryText(standing({1, 0}, {}, 5000)), "1 item, 0 B");
  EXPECT_EQ(summaryText(standing({3, 4 * kMiB}, Amount{3, 4 * kMiB}, 2000)),
            "3 items, 4.0 MiB, 2.0 MiB/s");
}

TEST(ProgressLine, ThePercentageGoesFromNothingToAll) {
  EXPECT_EQ(standing({0, 0}, {}, 0).percent(), 0U);
  EXPECT_EQ(standing({0, 0}, Amount{0, 0}, 0).percent(), 0U);
  EXPECT_EQ(standing({0, 0}, Amount{10, kMiB}, 0).percent(), 0U);
  EXPECT_EQ(standing({10, kMiB}, Amount{10, kMiB}, 0).percent(), 100U);
  std::uint32_t before = 0;
  for (std::uint64_t i = 0; i <= 1000; ++i) {
    const std::uint32_t now = standing({i, i * i}, Amount{1000, kMiB}, 0).percent();
    EXPECT_GE(now, before);
    EXPECT_LE(now, 100U);
    before = now;
  }
}

TEST(ProgressLine, AnEstimateNeverRunsAway) {
  const auto left = standing({1, 1}, Amount{UINT64_MAX, UINT64_MAX}, INT64_MAX / 2).left();
  ASSERT_TRUE(left.has_value());
  EXPECT_EQ(left->count(), 360'000);
  EXPECT_EQ(standing({1, 1}, {}, 1000).left(), std::nullopt);
  EXPECT_EQ(standing({0, 0}, Amount{1, 1}, 1000).left(), std::nullopt);
}

}  // namespace
}  // namespace HOQ::cli
