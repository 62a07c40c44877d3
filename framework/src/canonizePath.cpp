#include <hoq/canonizePath.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace HOQ {
namespace {

std::string_view componentAt(const std::string& path, std::size_t from, char separator) {
  const std::size_t end = std::min(path.find(separator, from), path.size());
  return std::string_view(path).substr(from, end - from);
}

bool climbsAboveRoot(const std::string& absolute, char separator) {
  std::size_t depth = 0;
  for (std::size_t from = 1; from < absolute.size();) {
    const std::string_view component = componentAt(absolute, from, separator);
    if (component == "..") {
      if (depth == 0) return true;
      --depth;
    } else if (!component.empty() && component != ".") {
      ++depth;
    }
    from += component.size() + 1;
  }
  return false;
}

}  // namespace

// What is kept moves to the front of the string, which never overtakes the place that is read.
int canonizePath(std::string& path, char separator) {
  const bool absolute = !path.empty() && path.front() == separator;
  if (absolute && climbsAboveRoot(path, separator)) return -1;

  const std::size_t start = absolute ? 1 : 0;
  std::size_t kept = start;   // end of the part that is done
  std::size_t floor = start;  // ".." takes nothing away before it: the root, or leading ".."s
  for (std::size_t from = start; from < path.size();) {
    const std::string_view component = componentAt(path, from, separator);
    const std::size_t length = component.size();
    const bool parent = component == "..";
    if (parent && kept > floor) {
      const std::size_t last = path.rfind(separator, kept - 1);
      kept = last == std::string::npos || last < floor ? floor : last;
    } else if (length != 0 && component != ".") {
      if (kept > start) path[kept++] = separator;
      std::memmove(path.data() + kept, path.data() + from, length);
      kept += length;
      if (parent) floor = kept;
    }
    from += length + 1;
  }
  path.resize(kept);
  return 0;
}

}  // namespace HOQ
