#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <hoq/HOQFileType.h>

#include "output/FieldText.h"
#include "output/Output.h"

namespace HOQ::cli {

/// How names and sizes appear.
struct Style {
  bool escaped = false;  // for a terminal
  bool colored = false;
  bool human = false;  // sizes with units
};

/// Appends a name as `style` has it.
void appendName(Output& out, const Style& style, const HOQFileType& record, std::string_view name);

/// The widest cell of each column of a long listing, over some records.
struct LongWidths {
  std::size_t link = 0;
  std::size_t user = 0;
  std::size_t group = 0;
  std::size_t size = 0;

  void measure(const HOQFileType& record, const Style& style);
};

/// The lines of a long listing: columns as wide as their widest cell. Every record of a block is
/// measured before the first is written. One thread.
class LongLines {
 public:
  explicit LongLines(const Style& style) : style_(style) {}

  /// Begins a block of lines that stand in line with each other, with records measured already.
  void startBlock(const LongWidths& widths = LongWidths()) { widths_ = widths; }
  void measure(const HOQFileType& record) { widths_.measure(record, style_); }
  /// `name` is what the record is called here.
  void write(Output& out, const HOQFileType& record, std::string_view name);

 private:
  const Style style_;
  TimeText times_;
  LongWidths widths_;
};

}  // namespace HOQ::cli
