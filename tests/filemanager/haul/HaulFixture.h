#pragma once

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQMessage.h>

#include "filemanager/haul/ScriptedEnd.h"
#include "support/FaultyRoutine.h"
#include "support/Isolation.h"
#include "support/NoThreads.h"
#include "support/Trees.h"

namespace HOQ::test {

/// The element of that number, in the child `within` unless that is 0; null: it is not there.
inline const HOQMessageElement* elementOf(const HOQMessage& message, int id, int within = 0) {
  if (within != 0) {
    const HOQMessageElement* const parent = elementOf(message, within);
    return parent != nullptr ? elementOf(parent->child, id) : nullptr;
  }
  for (const HOQMessageElement& element : message.elements)
    if (element.id == id) return &element;
  return nullptr;
}

using RoutinePtr = boost::shared_ptr<HOQFileRoutine>;

/// A place with a tree, and no error text.
class HaulFixture : public testing::Test {
 protected:
  void SetUp() override { clearErrorMessage(); }

  void write(const std::string& item, const std::string& text) const {
    std::ofstream(dir / item, std::ios::binary) << text;
  }
  std::string read(const std::string& item) const {
    std::ifstream file(dir / item, std::ios::binary);
    EXPECT_TRUE(file) << item;
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  bool isThere(const std::string& item) const {
    struct stat info;
    return lstat((dir / item).c_str(), &info) == 0;
  }
  unsigned modeOf(const std::string& item) const {
    struct stat info {};
    EXPECT_EQ(lstat((dir / item).c_str(), &info), 0) << item;
    return info.st_mode & 07777;
  }
  std::string left(trees::Show show = trees::Show::kLeaves) const {
    return trees::snapshot(dir.path(), show);
  }

  RoutinePtr routineAt(const std::string& item) const {
    return RoutinePtr(new HOQFileRoutineLin(dir / item));
  }

  const TempDir dir;
  const UmaskGuard mask{022};
};

/// A Linux routine that yields, or takes, as much at each call as the test says; from then on it
/// is the Linux routine. Says how often it was closed.
class PacedRoutine : public HOQFileRoutineLin {
 public:
  using HOQFileRoutineLin::HOQFileRoutineLin;

  long read(char* buf, int len) override {
    asked.push_back(len);
    const long most = next(len);
    return most <= 0 ? most : HOQFileRoutineLin::read(buf, static_cast<int>(most));
  }
  long write(const char* buf, int len) override {
    asked.push_back(len);
    const long most = next(len);
    return most <= 0 ? most : HOQFileRoutineLin::write(buf, static_cast<int>(most));
  }
  int open(int flags) override {
    openFlags.push_back(flags);
    return HOQFileRoutineLin::open(flags);
  }
  int close() override {
    ++closes;
    const int closed = HOQFileRoutineLin::close();
    return closeFails ? -1 : closed;
  }

  std::vector<long> paces;  // of the first calls; -1: the call fails
  bool closeFails = false;
  std::vector<int> asked;
  std::vector<int> openFlags;
  int closes = 0;

 private:
  long next(int len) {
    const std::size_t call = asked.size() - 1;
    return call < paces.size() ? std::min<long>(paces[call], len) : len;
  }
};

using PacedRoutinePtr = boost::shared_ptr<PacedRoutine>;

}  // namespace HOQ::test
