#include "listing/Gathering.h"

#include "listing/Packing.h"

namespace HOQ::cli {

void Gathering::take(const HOQFileType& record, std::size_t) {
  if (selection_.placeOf(record, true, false) != Selection::Place::kShown) return;
  if (measures_) widths_.measure(record, style_);
  packed_.clear();
  packRecord(packed_, record);
  store_.add(record.name, packed_);
}

void Gathering::clear() {
  widths_ = LongWidths();
  store_.clear();
}

void Gathering::drain(const Show& show) {
  HOQFileType record;
  store_.drain([&](std::string_view name, std::string_view packed) {
    record.name = name;
    unpackRecord(packed, record);
    show(record);
  });
}

}  // namespace HOQ::cli
