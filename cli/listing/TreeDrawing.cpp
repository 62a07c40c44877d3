#include "listing/TreeDrawing.h"

#include <utility>
#include <vector>

#include "listing/Packing.h"
#include "output/Utf8.h"

namespace HOQ::cli {
namespace {

constexpr std::string_view kBranch = "├── ";
constexpr std::string_view kLastBranch = "└── ";
constexpr std::string_view kTrunk = "│   ";
constexpr std::string_view kGap = "    ";

struct Level {
  TreeBlock block;
  std::uint64_t count;  // of entries still to come
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

void drawTree(Output& out, const View& view, const Directory& directory) {
  std::vector<Level> levels;
  std::string lead;
  const auto enter = [&](const BlockPlace& place) {
    TreeBlock block(*directory.spool, place);
    const std::uint64_t count = block.head().count;
    levels.push_back({std::move(block), count, lead.size()});
  };
  out.append(view.style.escaped ? escapeForTerminal(directory.shown) : directory.shown);
  out.append("\n");
  enter(directory.top);
  TreeEntry entry;
  HOQFileType record;
  while (!levels.empty()) {
    Level& level = levels.back();
    if (!level.block.next(entry)) {
      levels.pop_back();
      continue;
    }
    const bool last = --level.count == 0;
    lead.resize(level.leadLength);
    out.append(lead);
    out.append(last ? kLastBranch : kBranch);
    record.name = entry.name;
    unpackRecord(entry.packed, record);
    writeLine(out, view, record);
    if (entry.below.begin == entry.below.end) continue;
    lead += last ? kGap : kTrunk;
    enter(entry.below);
  }
}

}  // namespace HOQ::cli
