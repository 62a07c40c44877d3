#include "listing/JsonLines.h"

#include "PathText.h"
#include "output/JsonText.h"

namespace HOQ::cli {
namespace {

struct Level {
  std::vector<Entry> entries;
  std::size_t next;
  std::size_t pathLength;  // of the directory, with its "/"
};

}  // namespace

void writeJsonLine(Output& out, std::string_view path, const HOQFileType& record) {
  out.append("{\"path\":");
  appendJson(out.buffer(), path);
  out.append(",");
  appendJsonFields(out.buffer(), record);
  out.append("}\n");
  out.checkpoint();
}

void writeJsonLines(Output& out, const Directory& directory, const Selection& selection,
                    bool tree) {
  std::string path = join(directory.shown, "");
  if (directory.gathered) {
    const std::size_t length = path.size();
    directory.gathered->drain([&](const HOQFileType& record) {
      path.resize(length);
      path += record.name;
      writeJsonLine(out, path, record);
    });
    return;
  }
  std::vector<Level> levels;
  levels.push_back({selection.of(directory.records, !tree, tree), 0, path.size()});
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.entries.size()) {
      levels.pop_back();
      continue;
    }
    const Entry& entry = level.entries[level.next++];
    path.resize(level.pathLength);
    path += entry.record->name;
    if (entry.shown) writeJsonLine(out, path, *entry.record);
    if (!tree || entry.record->children.empty()) continue;
    path += '/';
    levels.push_back({selection.of(entry.record->children, false, true), 0, path.size()});
  }
}

}  // namespace HOQ::cli
