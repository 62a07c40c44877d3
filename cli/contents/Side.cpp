#include "contents/Side.h"

#include <hoq/HOQFileType.h>

#include "PathText.h"

namespace HOQ::cli {

bool Attributes::isFile() const { return kind == HOQFileType::kRegular; }
bool Attributes::isDirectory() const { return kind == HOQFileType::kDirectory; }
bool Attributes::isLink() const { return kind == HOQFileType::kLink; }

bool examineItem(Side& side, const std::string& path, bool follow, Attributes& found) {
  const std::string name = path == "/" ? "." : leafOf(path);
  const auto items = side.examine(parentOf(path), {name}, follow);
  if (items.empty()) return false;
  found = items.begin()->second;
  return true;
}

bool isEntryName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos;
}

}  // namespace HOQ::cli
