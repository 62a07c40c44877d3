#pragma once

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <hoq/HOQContentsEngine.h>

#include "filemanager/operations/OperationsFixture.h"
#include "support/Isolation.h"

namespace HOQ::test {

constexpr int kSymbolic = 0x40;

/// For its lifetime contents are carried by the engine that HOQ_TEST_ENGINE names, or as if nobody
/// had chosen one.
class ChosenEngine {
 public:
  ChosenEngine() {
    const char* name = std::getenv("HOQ_TEST_ENGINE");
    if (!name) return;
    const auto engine = HOQContentsEngine::named(name);
    EXPECT_TRUE(engine) << "HOQ_TEST_ENGINE=" << name;
    HOQContentsEngine::choose(engine.value_or(before_));
  }
  ~ChosenEngine() { HOQContentsEngine::choose(before_); }
  ChosenEngine(const ChosenEngine&) = delete;
  ChosenEngine& operator=(const ChosenEngine&) = delete;

 private:
  const HOQContentsEngine::Kind before_ = HOQContentsEngine::chosen();
};

/// The place, and beside it an "elsewhere" that is on another file system where there is one.
class ChangesFixture : public OperationsFixture {
 protected:
  /// What a Filer returned and what it said meanwhile.
  struct Said {
    int code;
    Texts messages;
    Texts progress;          // status texts
    std::vector<int> codes;  // of the error records
  };

  using Operation = int (HOQFilerLocal::*)(const HOQFiler::Paths&, const std::string&,
                                           const HOQFilerOptions&);
  static constexpr Operation kCopy = &HOQFilerLocal::copy;
  static constexpr Operation kMove = &HOQFilerLocal::move;

  Said carry(Operation operation, const HOQFiler::Paths& paths, const std::string& target,
             int options = 0) {
    if (!program.empty()) return carryByProgram(operation, paths, target, options);
    return said([&](HOQFilerLocal& filer) {
      return (filer.*operation)(paths, target, HOQFilerOptions(options));
    });
  }
  Said copy(const HOQFiler::Paths& paths, const std::string& target, int options = 0) {
    return carry(kCopy, paths, target, options);
  }
  Said move(const HOQFiler::Paths& paths, const std::string& target, int options = 0) {
    return carry(kMove, paths, target, options);
  }
  Said chmod(const HOQFiler::Paths& paths, int mode, int options = 0) {
    return said(
        [&](HOQFilerLocal& filer) { return filer.chmod(paths, mode, HOQFilerOptions(options)); });
  }
  template <class User, class Group>
  Said chown(const HOQFiler::Paths& paths, const User& user, const Group& group, int options = 0) {
    return said([&](HOQFilerLocal& filer) {
      return filer.chown(paths, user, group, HOQFilerOptions(options));
    });
  }

  /// The same, asked of `hoq call`.
  Said carryByProgram(Operation operation, const HOQFiler::Paths& paths, const std::string& target,
                      int options) const;

  /// Asks a fresh Filer for what `request` does with it.
  template <class Request>
  Said said(const Request& request) {
    ScriptedFiler filer(dir.path(), maker);
    Said outcome{request(filer), filer.handler->messages(), {}, {}};
    EXPECT_TRUE(filer.handler->answers.empty());
    for (const HOQRequestErrorData& record : filer.handler->errors)
      outcome.codes.push_back(record.code);
    for (const HOQRequestProgressData& record : filer.handler->progressRecords) {
      EXPECT_EQ(record.operation, "");
      EXPECT_EQ(record.percent, 0U);
      EXPECT_TRUE(record.parameters.empty());
      outcome.progress.push_back(record.status);
    }
    return outcome;
  }

  /// `text` with each "@" replaced by the place and each "^" by the elsewhere.
  std::string placed(const std::string& text) const {
    std::string whole;
    for (const char c : text)
      if (c == '@')
        whole += dir.path();
      else if (c == '^')
        whole += elsewhere.path();
      else
        whole += c;
    return whole;
  }
  Texts placed(const Texts& texts) const {
    Texts whole;
    for (const std::string& text : texts) whole.push_back(placed(text));
    return whole;
  }

  std::string leftElsewhere() const { return trees::snapshot(elsewhere.path()); }

  struct stat infoOf(const std::string& path) const {
    struct stat info {};
    EXPECT_EQ(lstat(path.c_str(), &info), 0) << path;
    return info;
  }
  /// The permission bits of an item of the place.
  unsigned modeOf(const std::string& item) const { return infoOf(dir / item).st_mode & 07777; }

  bool isOnAnotherFileSystem() const {
    return infoOf(dir.path()).st_dev != infoOf(elsewhere.path()).st_dev;
  }

  void empty() const {
    removeContents(dir.path());
    removeContents(elsewhere.path());
  }

  /// Runs `body` in a child process whose user has no privileges and owns everything in the place.
  /// An empty text, or what went wrong.
  std::string asUnprivileged(const std::function<void()>& body) const {
    constexpr id_t kSomebody = 65534;
    if (!isRoot()) return inChild(body);
    for (const std::string& item : trees::pathsBelow(dir.path()))
      EXPECT_EQ(lchown((dir / item).c_str(), kSomebody, kSomebody), 0) << item;
    EXPECT_EQ(lchown(dir.path().c_str(), kSomebody, kSomebody), 0);
    return inChild([&body] {
      ASSERT_EQ(setgroups(0, nullptr), 0);
      ASSERT_EQ(setgid(kSomebody), 0);
      ASSERT_EQ(setuid(kSomebody), 0);
      body();
    });
  }

  static HOQContentsEngine::Kind engine() { return HOQContentsEngine::chosen(); }

  const ChosenEngine chosen;
  std::string program;  // a hoq to run copies and moves with; empty: they run in this process
  const UmaskGuard mask{022};
  const TempDir elsewhere{TempDir::kMemory};
};

/// How `line` shows once it is made.
inline std::string asShown(const std::string& line) {
  const TempDir place(TempDir::kMemory);
  trees::make(place.path(), line);
  return trees::snapshot(place.path());
}

}  // namespace HOQ::test

/// Skips the test, with the reason, where the place for temporary files and the file system in
/// memory are one.
#define HOQ_NEEDS_TWO_FILE_SYSTEMS() \
  if (!isOnAnotherFileSystem()) GTEST_SKIP() << "there is no second file system to write to"
