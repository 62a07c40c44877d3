#pragma once

#include <cstddef>
#include <vector>

namespace HOQ::cli {

/// How cells of these widths stand in columns, filled from top to bottom, two blanks apart.
struct Columns {
  std::size_t rows;
  std::vector<std::size_t> widths;  // of each column, without the blanks
};

/// As many columns as fit into `lineWidth`; at least one.
Columns layOut(const std::vector<std::size_t>& cellWidths, std::size_t lineWidth);

}  // namespace HOQ::cli
