#include "listing/TreeDrawing.h"

#include <algorithm>
#include <unordered_set>

#include "output/Utf8.h"

namespace HOQ::cli {
namespace {

constexpr std::string_view kBranch = "├── ";
constexpr std::string_view kLastBranch = "└── ";
constexpr std::string_view kTrunk = "│   ";
constexpr std::string_view kGap = "    ";

/// The records that are drawn: those shown, and what leads to them.
class Drawn {
 public:
  Drawn(const Directory& directory, const Selection& selection) : all_(!selection.filters()) {
    if (all_) return;
    struct Visited {
      const HOQFileType* record;
      std::size_t parent;
      bool shown;
    };
    std::vector<Visited> visited{{nullptr, 0, false}};  // the top stands for the directory
    const auto visit = [&](const Selection::Records& records, std::size_t parent) {
      for (const Entry& entry : selection.of(records, false, true))
        visited.push_back({entry.record, parent, entry.shown});
    };
    visit(directory.records, 0);
    for (std::size_t i = 1; i < visited.size(); ++i) visit(visited[i].record->children, i);
    for (std::size_t i = visited.size() - 1; i > 0; --i) {
      if (!visited[i].shown) continue;
      records_.insert(visited[i].record);
      visited[visited[i].parent].shown = true;  // stands before its children: still to come
    }
  }

  void removeOthers(std::vector<Entry>& entries) const {
    if (all_) return;
    const auto unwanted = [this](const Entry& entry) { return records_.count(entry.record) == 0; };
    entries.erase(std::remove_if(entries.begin(), entries.end(), unwanted), entries.end());
  }

 private:
  const bool all_;
  std::unordered_set<const HOQFileType*> records_;
};

struct Level {
  std::vector<Entry> entries;
  std::size_t next;
  std::size_t leadLength;
};

void writeLine(Output& out, const View& view, const HOQFileType& record) {
  if (view.sizes) {
    out.append("[");
    out.append(sizeText(record.size, view.style.human));
    out.append("] ");
  }
  appendName(out, view.style, record, record.name);
  out.append("\n");
  out.checkpoint();
}

}  // namespace

void drawTree(Output& out, const View& view, const Directory& directory,
              const Selection& selection) {
  const Drawn drawn(directory, selection);
  std::vector<Level> levels;
  std::string lead;
  const auto enter = [&](const Selection::Records& records) {
    auto entries = selection.of(records, false, true);
    drawn.removeOthers(entries);
    levels.push_back({std::move(entries), 0, lead.size()});
  };
  out.append(view.style.escaped ? escapeForTerminal(directory.shown) : directory.shown);
  out.append("\n");
  enter(directory.records);
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.entries.size()) {
      levels.pop_back();
      continue;
    }
    const HOQFileType& record = *level.entries[level.next++].record;
    const bool last = level.next == level.entries.size();
    lead.resize(level.leadLength);
    out.append(lead);
    out.append(last ? kLastBranch : kBranch);
    writeLine(out, view, record);
    if (record.children.empty()) continue;
    lead += last ? kGap : kTrunk;
    enter(record.children);
  }
}

}  // namespace HOQ::cli
