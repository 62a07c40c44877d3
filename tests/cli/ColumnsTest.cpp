#include "listing/Columns.h"

#include <gtest/gtest.h>

#include <numeric>

namespace HOQ::cli {
namespace {

using Widths = std::vector<std::size_t>;

TEST(Columns, FillsColumnsFromTopToBottom) {
  const struct {
    const char* name;
    Widths cells;
    std::size_t line;
    std::size_t rows;
    Widths widths;
  } cases[] = {
      {"nothing", {}, 80, 0, {0}},
      {"one cell", {5}, 80, 1, {5}},
      {"all in a row", {3, 3, 3}, 13, 1, {3, 3, 3}},
      {"one blank too few", {3, 3, 3}, 12, 2, {3, 3}},
      {"a cell wider than the line", {99, 1}, 20, 2, {99}},
      {"columns of their own width", {1, 9, 2, 2}, 13, 2, {9, 2}},
  };
  for (const auto& row : cases) {
    const Columns columns = layOut(row.cells, row.line);
    EXPECT_EQ(columns.rows, row.rows) << row.name;
    EXPECT_EQ(columns.widths, row.widths) << row.name;
  }
}

TEST(Columns, EveryCellHasAPlaceAndNoLineIsTooLong) {
  for (std::size_t count = 1; count < 60; ++count) {
    Widths cells(count);
    for (std::size_t i = 0; i < count; ++i) cells[i] = 1 + (i * 7) % 13;
    const Columns columns = layOut(cells, 60);
    EXPECT_GE(columns.rows * columns.widths.size(), count);
    EXPECT_LT(columns.rows * (columns.widths.size() - 1), count);
    const std::size_t used = std::accumulate(columns.widths.begin(), columns.widths.end(),
                                             2 * (columns.widths.size() - 1));
    EXPECT_LE(used, 60U);
  }
}

}  // namespace
}  // namespace HOQ::cli
