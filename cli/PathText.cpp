#include "PathText.h"

#include <algorithm>

namespace HOQ::cli {
namespace {

std::string_view lastComponent(std::string_view typed) {
  const std::size_t slash = typed.rfind('/');
  return slash == std::string_view::npos ? typed : typed.substr(slash + 1);
}

void append(std::string& full, std::string_view component) {
  if (component.empty() || component == ".") return;
  if (component == "..")
    full.erase(full.empty() ? 0 : full.rfind('/'));
  else
    full.append("/").append(component);
}

}  // namespace

std::string resolve(const std::string& directory, std::string_view typed) {
  std::string full;  // without the root's "/"
  if (typed.empty() || typed.front() != '/') full = resolve("/", directory + "/");
  if (full == "/") full.clear();
  while (!typed.empty()) {
    const std::size_t end = std::min(typed.find('/'), typed.size());
    append(full, typed.substr(0, end));
    typed.remove_prefix(std::min(end + 1, typed.size()));
  }
  return full.empty() ? "/" : full;
}

std::string parentOf(const std::string& full) {
  const std::size_t slash = full.rfind('/');
  return slash == 0 ? "/" : full.substr(0, slash);
}

std::string leafOf(const std::string& full) { return std::string(lastComponent(full)); }

std::string join(std::string_view path, std::string_view name) {
  std::string joined(path);
  if (!joined.empty() && joined.back() != '/') joined += '/';
  return joined.append(name);
}

bool namesDirectory(std::string_view typed) {
  const std::string_view last = lastComponent(typed);
  return last.empty() || last == "." || last == "..";
}

bool namesContents(std::string_view typed) {
  while (typed.size() > 1 && typed.back() == '/') typed.remove_suffix(1);
  const std::string_view last = lastComponent(typed);
  return last == "." || last == "..";
}

std::string quoted(const std::string& path) { return "\"" + path + "\""; }

bool hasWildcards(std::string_view text) {
  return text.find_first_of("*[]?") != std::string_view::npos;
}

}  // namespace HOQ::cli
