#include "listing/GatheredTree.h"

namespace HOQ::cli {

/// What comes with a record comes before it.
void GatheredTree::take(const HOQFileType& record, std::size_t level) {
  struct Open {
    const HOQFileType* record;
    std::size_t next;  // of its children
  };
  std::vector<Open> walk;
  const HOQFileType* at = &record;
  for (;;) {
    if (!at->children.empty()) {
      walk.push_back({at, 1});
      at = at->children.front().get();
      continue;
    }
    takeOne(*at, level + walk.size());
    while (!walk.empty() && walk.back().next == walk.back().record->children.size()) {
      at = walk.back().record;
      walk.pop_back();
      takeOne(*at, level + walk.size());
    }
    if (walk.empty()) return;
    at = walk.back().record->children[walk.back().next++].get();
  }
}

void GatheredTree::takeOne(const HOQFileType& record, std::size_t level) {
  while (levels_.size() <= level) levels_.push_back(std::make_unique<Level>());
  BlockPlace below;
  if (levels_.size() > level + 1) below = setAside(*levels_[level + 1]);

  const Selection::Place place = selection_.placeOf(record, needs_.dots, true);
  const bool leads = below.begin != below.end;
  const bool shown = place == Selection::Place::kShown;
  if (place == Selection::Place::kNone || (!shown && !leads)) return;

  BlockHead& head = levels_[level]->head;
  const bool folder = record.type == HOQFileType::kDirectory && !isDots(record.name);
  ++head.count;
  if (folder) ++head.folders;
  if (shown) {
    head.shows = true;
    if (needs_.measures) head.widths.measure(record, needs_.style);
  }
  entry_.clear();
  packEntry(entry_, {record.name, {}, shown, folder, below}, record);
  levels_[level]->entries.add(record.name, entry_);
}

BlockPlace GatheredTree::setAside(Level& level) {
  BlockPlace place{spool_.size(), spool_.size()};
  if (level.head.count == 0) return place;
  appendHead(spool_, level.head);
  level.head = BlockHead();
  level.entries.drain(
      [this](std::string_view name, std::string_view entry) { spool_.append(name, entry); });
  place.end = spool_.size();
  return place;
}

BlockPlace GatheredTree::finish() {
  const BlockPlace top = levels_.empty() ? BlockPlace() : setAside(*levels_.front());
  levels_.clear();
  return top;
}

}  // namespace HOQ::cli
