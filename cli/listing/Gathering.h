#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <hoq/HOQFileType.h>

#include "listing/LongLines.h"
#include "listing/RecordTaker.h"
#include "listing/Selection.h"
#include "listing/SortedStore.h"

namespace HOQ::cli {

/// The entries of one directory that are shown, as they come; in order, when all are there. Takes
/// little memory, however many they are. One thread.
class Gathering : public RecordTaker {
 public:
  /// `selection` is not owned and must outlive this object. `measures`: for long lines.
  Gathering(const Selection& selection, const Style& style, bool measures)
      : selection_(selection), style_(style), measures_(measures) {}

  bool takesTrees() const override { return false; }
  void take(const HOQFileType& record, std::size_t level) override;
  void clear() override;

  /// Gives `show` each record by the order of the names, without what is below it. Once.
  using Show = std::function<void(const HOQFileType& record)>;
  void drain(const Show& show);

  const LongWidths& widths() const { return widths_; }

 private:
  const Selection& selection_;
  const Style style_;
  const bool measures_;
  LongWidths widths_;
  SortedStore store_;
  std::string packed_;  // one record
};

}  // namespace HOQ::cli
