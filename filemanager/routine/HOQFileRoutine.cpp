#include "routine/HOQFileRoutine.h"

#include <cstring>

namespace HOQ {

HOQFileRoutine::HOQFileRoutine(const std::string& initialPath) : statBuffer{}, path(initialPath) {}

HOQFileRoutine::~HOQFileRoutine() = default;

int HOQFileRoutine::rmlink() { return remove(); }

void HOQFileRoutine::setFilters(const std::vector<HOQFileFilter>* list) { filters = list; }

unsigned HOQFileRoutine::getType() { return 0xFFFFFFFF; }

void HOQFileRoutine::makePath(std::string& target, const char* begin, const char* end) {
  if (begin && !end) end = begin + std::strlen(begin);
  if (begin != end) {
    if (!target.empty() && target.back() != '/') target.push_back('/');
    target.append(begin, end);
  }
  if (!target.empty() && target.back() == '/') target.pop_back();
}

int HOQFileRoutine::readlinkS(std::string& target) {
  const int length = readlink(nullptr, 0);
  if (length < 1) return -1;
  std::string text(static_cast<std::size_t>(length) - 1, '\0');
  const int got = readlink(text.data(), static_cast<unsigned long>(length));
  if (got < 1) return -1;
  text.resize(static_cast<std::size_t>(got) - 1);  // it may have changed meanwhile
  target = std::move(text);
  return 0;
}

int HOQFileRoutine::cpOptions(HOQFileRoutine* from) {
  if (from->stat() != 0) return -1;
  if (chmod(static_cast<int>(from->statBuffer.st_mode)) != 0) return -1;
  from->isExamined = from != this;  // whose owner may have changed with its mode
  const int result = cpOwn(from);
  from->isExamined = false;
  return result;
}

int HOQFileRoutine::cpOwn(HOQFileRoutine* from) {
  void* theirs = nullptr;
  if (from->getown(theirs) != 0) return -1;
  int result = -1;
  if (getType() == from->getType()) {
    result = chown(theirs);
  } else {
    std::string user;
    std::string group;
    void* ours = nullptr;
    if (from->convown(theirs, user, group) == 0 &&
        convown(user.c_str(), group.c_str(), ours) == 0) {
      result = chown(ours);
      freeown(ours);
    }
  }
  from->freeown(theirs);
  return result;
}

}  // namespace HOQ
