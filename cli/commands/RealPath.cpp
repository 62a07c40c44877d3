#include "commands/RealPath.h"

#include <algorithm>

#include "PathText.h"
#include "commands/Lookup.h"

namespace HOQ::cli {
namespace {

constexpr int kMostLinks = 40;  // the system follows no more, either

/// What the link `full` records, or empty when it is no link.
std::string linkTextOf(Session& session, const std::string& full) {
  std::string why;  // not a link, as far as anybody can tell
  Lookup lookup(session, 0, HOQFileType::kType | HOQFileType::kLinkTarget);
  const RecordPtr record = lookup.find(full, false, why);
  return record && record->type == HOQFileType::kLink ? record->linkTarget : "";
}

}  // namespace

std::string realPath(Session& session, const std::string& full) {
  return realPath([&session](const std::string& path) { return linkTextOf(session, path); }, full);
}

std::string realPath(const std::function<std::string(const std::string& full)>& linkText,
                     const std::string& full) {
  std::string real;  // without links
  std::string rest = full;
  for (int links = 0; !rest.empty();) {
    const std::size_t end = std::min(rest.find('/'), rest.size());
    const std::string component = rest.substr(0, end);
    rest.erase(0, std::min(end + 1, rest.size()));
    if (component.empty() || component == ".") continue;
    std::string next = resolve(real.empty() ? "/" : real, component);
    const std::string text = component == ".." ? "" : linkText(next);
    if (text.empty() || ++links > kMostLinks) {
      real = std::move(next);
      continue;
    }
    if (text.front() == '/') real.clear();
    rest = text + "/" + rest;
  }
  return real.empty() ? "/" : real;
}

}  // namespace HOQ::cli
