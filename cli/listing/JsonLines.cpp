#include "listing/JsonLines.h"

#include <vector>

#include "PathText.h"
#include "listing/Packing.h"
#include "output/JsonText.h"

namespace HOQ::cli {
namespace {

struct Level {
  TreeBlock block;
  std::size_t pathLength;  // of the directory, with its "/"
};

void writeTree(Output& out, const Directory& directory) {
  std::string path = join(directory.shown, "");
  std::vector<Level> levels;
  levels.push_back({TreeBlock(*directory.spool, directory.top), path.size()});
  TreeEntry entry;
  HOQFileType record;
  while (!levels.empty()) {
    Level& level = levels.back();
    if (!level.block.next(entry)) {
      levels.pop_back();
      continue;
    }
    path.resize(level.pathLength);
    path += entry.name;
    if (entry.shown) {
      record.name = entry.name;
      unpackRecord(entry.packed, record);
      writeJsonLine(out, path, record);
    }
    if (entry.below.begin == entry.below.end) continue;
    path += '/';
    levels.push_back({TreeBlock(*directory.spool, entry.below), path.size()});
  }
}

}  // namespace

void writeJsonLine(Output& out, std::string_view path, const HOQFileType& record) {
  out.append("{\"path\":");
  appendJson(out.buffer(), path);
  out.append(",");
  appendJsonFields(out.buffer(), record);
  out.append("}\n");
  out.checkpoint();
}

void writeJsonLines(Output& out, const Directory& directory, const Selection& selection) {
  if (directory.spool != nullptr) return writeTree(out, directory);
  std::string path = join(directory.shown, "");
  const std::size_t length = path.size();
  const auto write = [&](const HOQFileType& record) {
    path.resize(length);
    path += record.name;
    writeJsonLine(out, path, record);
  };
  if (directory.gathered) return directory.gathered->drain(write);
  for (const Entry& entry : selection.of(directory.records, true, false)) write(*entry.record);
}

}  // namespace HOQ::cli
