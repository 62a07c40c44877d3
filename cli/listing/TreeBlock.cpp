#include "listing/TreeBlock.h"

#include <hoq/HOQAssert.h>

#include "listing/Packing.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kReadBytes = 16 * 1024;

// Bits of an entry's first number.
constexpr std::uint64_t kShown = 1;
constexpr std::uint64_t kFolder = 2;
constexpr std::uint64_t kHasBelow = 4;

std::uint64_t number(std::string_view& in) {
  std::uint64_t taken = 0;
  const bool whole = takeNumber(in, taken);
  HOQ_ASSERT(whole);
  return taken;
}

Frames framesOf(const Spool& spool, const BlockPlace& place) {
  const auto read = [&spool](std::uint64_t offset, std::size_t length, std::string& out) {
    spool.read(offset, length, out);
  };
  return Frames(read, place.begin, place.end, kReadBytes);
}

}  // namespace

void appendHead(Spool& spool, const BlockHead& head) {
  std::string packed;
  for (const std::size_t width :
       {head.widths.link, head.widths.user, head.widths.group, head.widths.size})
    appendNumber(packed, width);
  appendNumber(packed, head.count);
  appendNumber(packed, head.folders);
  appendNumber(packed, head.shows ? 1 : 0);
  spool.append("", packed);
}

void packEntry(std::string& out, const TreeEntry& entry, const HOQFileType& record) {
  const bool hasBelow = entry.below.begin != entry.below.end;
  appendNumber(
      out, (entry.shown ? kShown : 0) | (entry.folder ? kFolder : 0) | (hasBelow ? kHasBelow : 0));
  if (hasBelow) {
    appendNumber(out, entry.below.begin);
    appendNumber(out, entry.below.end - entry.below.begin);
  }
  packRecord(out, record);
}

TreeBlock::TreeBlock(const Spool& spool, const BlockPlace& place)
    : frames_(framesOf(spool, place)) {
  std::string_view name;
  std::string_view packed;
  if (!frames_.next(name, packed)) return;
  for (std::size_t* width :
       {&head_.widths.link, &head_.widths.user, &head_.widths.group, &head_.widths.size})
    *width = static_cast<std::size_t>(number(packed));
  head_.count = number(packed);
  head_.folders = number(packed);
  head_.shows = number(packed) != 0;
}

bool TreeBlock::next(TreeEntry& entry) {
  if (!frames_.next(entry.name, entry.packed)) return false;
  const std::uint64_t bits = number(entry.packed);
  entry.shown = (bits & kShown) != 0;
  entry.folder = (bits & kFolder) != 0;
  entry.below = BlockPlace();
  if ((bits & kHasBelow) != 0) {
    entry.below.begin = number(entry.packed);
    entry.below.end = entry.below.begin + number(entry.packed);
  }
  return true;
}

}  // namespace HOQ::cli
