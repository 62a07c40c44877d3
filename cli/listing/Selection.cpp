#include "listing/Selection.h"

#include <algorithm>

namespace HOQ::cli {
namespace {

std::uint64_t orderOf(const std::string& name) {
  std::uint64_t order = 0;
  for (std::size_t i = 0; i < sizeof order; ++i)
    order = (order << 8) | (i < name.size() ? static_cast<unsigned char>(name[i]) : 0U);
  return order;
}

bool before(const Entry& a, const Entry& b) {
  if (a.order != b.order) return a.order < b.order;
  return a.record->name < b.record->name;
}

}  // namespace

bool isDots(const std::string& name) { return name == "." || name == ".."; }

Selection::Place Selection::placeOf(const HOQFileType& record, bool dots, bool tree) const {
  const std::string& name = record.name;
  if (!name.empty() && name.front() == '.') {
    if (!all_) return Place::kNone;
    if (isDots(name) && (!dots || filters())) return Place::kNone;
  }
  if (!filters() || conditions_.matches(record)) return Place::kShown;
  return tree && record.type == HOQFileType::kDirectory ? Place::kThere : Place::kNone;
}

std::vector<Entry> Selection::of(const Records& records, bool dots, bool tree) const {
  std::vector<Entry> entries;
  entries.reserve(records.size());
  for (const auto& record : records) {
    const Place place = placeOf(*record, dots, tree);
    if (place != Place::kNone)
      entries.push_back({orderOf(record->name), record.get(), place == Place::kShown});
  }
  std::sort(entries.begin(), entries.end(), before);
  return entries;
}

}  // namespace HOQ::cli
