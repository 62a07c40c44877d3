#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "listing/Listing.h"
#include "output/Output.h"

namespace HOQ::cli {

/// Writes what `hoq ls` found. Trees of any depth, without a deep stack. One thread.
class Printer {
 public:
  /// `selection` is not owned and must outlive this object.
  Printer(Output& out, const View& view, const Selection& selection)
      : out_(out), view_(view), selection_(selection), lines_(view.style) {}

  /// Items first, then each directory; a directory that is not alone has a heading.
  void print(const std::vector<Item>& items, const std::vector<Directory>& directories);

 private:
  struct Named {
    const HOQFileType* record;
    std::string_view name;
  };

  void printJson(const std::vector<Item>& items, const std::vector<Directory>& directories);
  void printNames(const std::vector<Named>& names);
  void printSizes(const std::vector<Named>& names);
  void printColumns(const std::vector<Named>& names);
  void printHeading(std::string_view heading);
  void printGathered(Gathering& gathered);
  void printLine(const Named& named);
  void printEntries(const std::vector<Entry>& entries);
  void printBlocks(const Directory& directory);
  std::uint64_t printBlock(const std::string& heading, const Spool& spool, const BlockPlace& place);
  void separate();

  Output& out_;
  const View view_;
  const Selection& selection_;
  LongLines lines_;
  bool printed_ = false;  // something stands above
};

}  // namespace HOQ::cli
