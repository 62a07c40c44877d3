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

std::vector<Entry> Selection::of(const Records& records, bool dots, bool tree) const {
  std::vector<Entry> entries;
  entries.reserve(records.size());
  for (const auto& record : records) {
    const std::string& name = record->name;
    if (!name.empty() && name.front() == '.') {
      if (!all_) continue;
      if (isDots(name) && (!dots || filters())) continue;
    }
    const bool shown = !filters() || conditions_.matches(*record);
    if (!shown && !(tree && record->type == HOQFileType::kDirectory)) continue;
    entries.push_back({orderOf(name), record.get(), shown});
  }
  std::sort(entries.begin(), entries.end(), before);
  return entries;
}

}  // namespace HOQ::cli
