#include "listing/Printer.h"

#include <algorithm>
#include <iterator>

#include "PathText.h"
#include "listing/Columns.h"
#include "listing/JsonLines.h"
#include "listing/Packing.h"
#include "listing/TreeDrawing.h"
#include "output/Utf8.h"

namespace HOQ::cli {

void Printer::print(const std::vector<Item>& items, const std::vector<Directory>& directories) {
  if (view_.json) return printJson(items, directories);
  std::vector<Named> names;
  for (const Item& item : items) names.push_back({item.record.get(), item.shown});
  printNames(names);
  printed_ = !names.empty();
  const bool alone = items.empty() && directories.size() == 1;
  for (const Directory& directory : directories) {
    if (view_.tree && view_.longFormat) {
      printBlocks(directory);
      continue;
    }
    separate();
    if (view_.tree) {
      drawTree(out_, view_, directory);
      continue;
    }
    if (!alone) printHeading(directory.shown);
    if (directory.gathered)
      printGathered(*directory.gathered);
    else
      printEntries(selection_.of(directory.records, true, false));
  }
}

void Printer::printJson(const std::vector<Item>& items, const std::vector<Directory>& directories) {
  for (const Item& item : items) writeJsonLine(out_, item.shown, *item.record);
  for (const Directory& directory : directories) writeJsonLines(out_, directory, selection_);
}

void Printer::printGathered(Gathering& gathered) {
  lines_.startBlock(gathered.widths());
  gathered.drain([this](const HOQFileType& record) {
    if (view_.longFormat)
      lines_.write(out_, record, record.name);
    else
      printLine({&record, record.name});
  });
}

/// An empty line between what stands above and what comes.
void Printer::separate() {
  if (printed_) out_.append("\n");
  printed_ = true;
}

void Printer::printHeading(std::string_view heading) {
  if (view_.style.escaped)
    out_.append(escapeForTerminal(heading));
  else
    out_.append(heading);
  out_.append(":\n");
}

void Printer::printEntries(const std::vector<Entry>& entries) {
  std::vector<Named> names;
  names.reserve(entries.size());
  for (const Entry& entry : entries)
    if (entry.shown) names.push_back({entry.record, entry.record->name});
  printNames(names);
}

void Printer::printNames(const std::vector<Named>& names) {
  if (view_.longFormat) {
    lines_.startBlock();
    for (const Named& named : names) lines_.measure(*named.record);
    for (const Named& named : names) lines_.write(out_, *named.record, named.name);
  } else if (view_.sizes) {
    printSizes(names);
  } else if (out_.isTerminal()) {
    printColumns(names);
  } else {
    for (const Named& named : names) printLine(named);
  }
}

void Printer::printLine(const Named& named) {
  appendName(out_, view_.style, *named.record, named.name);
  out_.append("\n");
  out_.checkpoint();
}

void Printer::printSizes(const std::vector<Named>& names) {
  std::size_t width = 0;
  for (const Named& named : names)
    width = std::max(width, sizeText(named.record->size, view_.style.human).size());
  for (const Named& named : names) {
    fmt::format_to(std::back_inserter(out_.buffer()), "{:>{}} ",
                   sizeText(named.record->size, view_.style.human), width);
    appendName(out_, view_.style, *named.record, named.name);
    out_.append("\n");
    out_.checkpoint();
  }
}

void Printer::printColumns(const std::vector<Named>& names) {
  std::vector<std::size_t> cells;
  for (const Named& named : names) cells.push_back(displayWidth(escapeForTerminal(named.name)));
  const Columns columns = layOut(cells, out_.columns());
  for (std::size_t row = 0; row < columns.rows; ++row) {
    std::size_t pending = 0;  // blanks owed before the next cell
    for (std::size_t column = 0; column < columns.widths.size(); ++column) {
      const std::size_t i = column * columns.rows + row;
      if (i >= names.size()) break;
      out_.append(std::string(pending, ' '));
      appendName(out_, view_.style, *names[i].record, names[i].name);
      pending = columns.widths[column] - cells[i] + 2;
    }
    out_.append("\n");
    out_.checkpoint();
  }
}

/// A block for each directory of a tree, each before those below it.
void Printer::printBlocks(const Directory& directory) {
  struct Level {
    TreeBlock block;
    std::uint64_t folders;  // still to come
    std::size_t pathLength;
  };
  std::string path = directory.shown;
  std::vector<Level> levels;
  const auto enter = [&](const BlockPlace& place) {
    const std::uint64_t folders = printBlock(path, *directory.spool, place);
    if (folders != 0) levels.push_back({{*directory.spool, place}, folders, path.size()});
  };
  enter(directory.top);
  TreeEntry entry;
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.folders == 0 || !level.block.next(entry)) {
      levels.pop_back();
      continue;
    }
    if (!entry.folder) continue;
    --level.folders;
    path.resize(level.pathLength);
    path = join(path, entry.name);
    enter(entry.below);
  }
}

/// Returns how many directories are in it.
std::uint64_t Printer::printBlock(const std::string& heading, const Spool& spool,
                                  const BlockPlace& place) {
  TreeBlock block(spool, place);
  const BlockHead& head = block.head();
  if (selection_.filters() && !head.shows) return head.folders;
  separate();
  printHeading(heading);
  lines_.startBlock(head.widths);
  TreeEntry entry;
  HOQFileType record;
  while (block.next(entry)) {
    if (!entry.shown) continue;
    unpackRecord(entry.packed, record);
    lines_.write(out_, record, entry.name);
  }
  return head.folders;
}

}  // namespace HOQ::cli
