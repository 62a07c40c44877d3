#include "listing/Columns.h"

#include <algorithm>

namespace HOQ::cli {
namespace {

constexpr std::size_t kGap = 2;

/// The columns of a layout with `rows` rows; empty when they do not fit.
std::vector<std::size_t> widthsOf(const std::vector<std::size_t>& cells, std::size_t rows,
                                  std::size_t lineWidth) {
  std::vector<std::size_t> widths;
  std::size_t used = 0;
  for (std::size_t start = 0; start < cells.size(); start += rows) {
    const std::size_t end = std::min(start + rows, cells.size());
    widths.push_back(*std::max_element(cells.begin() + static_cast<std::ptrdiff_t>(start),
                                       cells.begin() + static_cast<std::ptrdiff_t>(end)));
    used += widths.back() + (start == 0 ? 0 : kGap);
    if (used > lineWidth) return {};
  }
  return widths;
}

}  // namespace

Columns layOut(const std::vector<std::size_t>& cellWidths, std::size_t lineWidth) {
  const std::size_t count = cellWidths.size();
  const std::size_t most = std::min(count, lineWidth / (1 + kGap) + 1);
  std::size_t lastRows = 0;
  for (std::size_t columns = most; columns > 1; --columns) {
    const std::size_t rows = (count + columns - 1) / columns;
    if (rows == lastRows) continue;
    lastRows = rows;
    auto widths = widthsOf(cellWidths, rows, lineWidth);
    if (!widths.empty()) return {rows, std::move(widths)};
  }
  const auto widest = std::max_element(cellWidths.begin(), cellWidths.end());
  return {count, {widest == cellWidths.end() ? 0 : *widest}};
}

}  // namespace HOQ::cli
