#include "engine/PathHelpers.h"

#include <cstring>

#include "routine/HOQFileRoutine.h"

namespace HOQ {

bool isFullpath(const std::string& s) { return !s.empty() && s.front() == '/'; }

void setLastDiv(std::string& s) {
  if (!s.empty() && s.back() != '/') s.push_back('/');
}

void eraseLastDiv(std::string& s) {
  if (!s.empty() && s.back() == '/') s.pop_back();
}

void makePath(std::string& s, const std::string& name) {
  HOQFileRoutine::makePath(s, name.data(), name.data() + name.size());
}

char* _ftstrrchr(const char* begin, const char* end, char c) {
  return const_cast<char*>(
      static_cast<const char*>(memrchr(begin, c, static_cast<std::size_t>(end - begin))));
}

const char* baseName(const char* path) {
  const char* last = std::strrchr(path, '/');
  return last ? last + 1 : path;
}

}  // namespace HOQ
