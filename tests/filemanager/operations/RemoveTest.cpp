#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

#include "filemanager/operations/OperationsFixture.h"
#include "operations/RemoveOperate.h"
#include "routine/HOQFileRoutineLin.h"
#include "support/Isolation.h"

namespace HOQ::test {
namespace {

class Remove : public OperationsFixture {};

struct RemoveCase {
  const char* what;
  const char* tree;
  HOQFiler::Paths paths;  // "@" at the front: the place
  int options;
  int code;
  Texts messages;  // "@" stands for the place
  const char* left;
};

const RemoveCase kRemovals[] = {
    {"a file", "f g", {"f"}, 0, 0, {}, "g"},
    {"an empty directory", "d/ g", {"d"}, 0, 0, {}, "g"},
    {"a link to a file", "f l->f", {"l"}, 0, 0, {}, "f"},
    {"a link to a directory", "d/f l->d", {"l"}, 0, 0, {}, "d/f"},
    {"a link to a directory, as a tree", "d/f l->d", {"l"}, kRecursive, 0, {}, "d/f"},
    {"a dangling link", "l->nowhere g", {"l"}, 0, 0, {}, "g"},
    {"a link to itself", "l->l g", {"l"}, kRecursive, 0, {}, "g"},
    {"a FIFO and a socket", "p| s~ g", {"p", "s"}, 0, 0, {}, "g"},
    {"several", "a b c d", {"a", "c", "b"}, 0, 0, {}, "d"},
    {"by an absolute path", "f g", {"@/f"}, 0, 0, {}, "g"},
    {"by a crooked path", "d/f g", {"d//./../d/f"}, 0, 0, {}, "d/ g"},
    {"a tree", "d/a d/e/b d/e/h/c d/l->e d/p| g", {"d"}, kRecursive, 0, {}, "g"},
    {"a tree by a slash at its end", "d/a g", {"d/"}, kRecursive, 0, {}, "g"},
    {"a file as a tree", "f g", {"f"}, kRecursive, 0, {}, "g"},
    {"links in a tree as links",
     "d/l->../keep d/m->../keep/f keep/f",
     {"d"},
     kRecursive,
     0,
     {},
     "keep/f"},
    {"nothing", "g", {}, 0, 0, {}, "g"},
    {"a directory that is not empty",
     "d/f",
     {"d"},
     0,
     2056,
     {"\"@/d\", Cannot remove item: Directory not empty[39]"},
     "d/f"},
    {"what is missing",
     "g",
     {"missing"},
     0,
     2056,
     {"\"@/missing\", Cannot get information: No such file or directory[2]"},
     "g"},
    {"what is missing, as a tree",
     "g",
     {"missing"},
     kRecursive,
     2056,
     {"\"@/missing\", Cannot get information: No such file or directory[2]"},
     "g"},
    {"up to the first failure",
     "a b c",
     {"a", "missing", "c"},
     0,
     2056,
     {"\"@/missing\", Cannot get information: No such file or directory[2]"},
     "b c"},
    {"a literal star", "* a", {"*"}, 0, 0, {}, "a"},
    {"a pattern", "a.txt b.txt c", {"*.txt"}, kPatterns, 0, {}, "c"},
    {"a pattern without matches", "c", {"*.txt"}, kPatterns, 0, {}, "c"},
    {"an absolute pattern", "a.txt c", {"@/*.txt"}, kPatterns, 0, {}, "c"},
    {"a pattern's empty directories", "da/ db/ c", {"d*"}, kPatterns, 0, {}, "c"},
    {"hidden files by a star", ".h a", {"*"}, kPatterns, 0, {}, ""},
    {"a pattern below a directory", "d/a d/b e/c", {"d/*"}, kPatterns, 0, {}, "d/ e/c"},
    // Kept: a tree removed by a pattern leaves its directories standing, empty.
    {"trees by a pattern",
     "d/a/x d/b/y/z d/f e/g",
     {"d/*"},
     kPatterns | kRecursive,
     0,
     {},
     "d/a/ d/b/y/ e/g"},
    {"trees by a pattern of two levels",
     "d/a/x/1 d/b/y/2 e",
     {"d/*/*"},
     kPatterns | kRecursive,
     0,
     {},
     "d/a/x/ d/b/y/ e"},
    // Kept: what fails below a plain tail is reported and stops nothing.
    {"what is missing, by a plain path under the wildcard bit",
     "g h",
     {"missing", "h"},
     kPatterns,
     0,
     {"\"@/missing\", Cannot get information: No such file or directory[2]"},
     "g"},
    {"a tree by a plain path under the wildcard bit",
     "d/a/x",
     {"d"},
     kPatterns | kRecursive,
     0,
     {},
     "d/a/"},
    // Where links are followed, a link to a directory is that directory.
    {"a followed link to a directory, as a tree",
     "d/a/f l->d",
     {"l"},
     kRecursive | kFollow,
     2056,
     {"\"@/l\", Cannot remove directory: Not a directory[20]"},
     "d/ l->d"},
    {"a followed link to a directory",
     "d/f l->d",
     {"l"},
     kFollow,
     2056,
     {"\"@/l\", Cannot remove item: Not a directory[20]"},
     "d/f l->d"},
    {"a followed link to a file", "f l->f", {"l"}, kFollow, 0, {}, "f"},
};

TEST_F(Remove, RemovesWhatItIsGivenAndNothingElse) {
  for (const RemoveCase& row : kRemovals) {
    SCOPED_TRACE(row.what);
    const auto placed = [this](std::string text) {
      const std::size_t at = text.find('@');
      return at == std::string::npos ? text : text.replace(at, 1, dir.path());
    };
    trees::make(dir.path(), row.tree);
    HOQFiler::Paths paths;
    for (const std::string& path : row.paths) paths.push_back(placed(path));
    Texts messages;
    for (const std::string& message : row.messages) messages.push_back(placed(message));
    const Outcome outcome = remove(paths, row.options);
    EXPECT_EQ(outcome.code, row.code);
    EXPECT_EQ(outcome.messages, messages);
    EXPECT_EQ(left(), row.left);
    removeContents(dir.path());
  }
}

// Canonizing "../x*" makes the current path shorter; the next path must not start there.
TEST_F(Remove, APatternThatLeadsOutDoesNotMoveTheNextPath) {
  trees::make(dir.path(), "w/y=inner x1 x2 y=outer");
  ScriptedFiler filer(dir / "w");
  EXPECT_EQ(filer.remove({"../x*", "y"}, HOQFilerOptions(kPatterns)), 0);
  EXPECT_EQ(left(), "w/ y=outer");
}

TEST_F(Remove, DotsAreTheDirectoriesThatTheyLeadTo) {
  trees::make(dir.path(), "w/v/f keep");
  ScriptedFiler inner(dir / "w/v");
  EXPECT_EQ(inner.remove({"."}, HOQFilerOptions(kRecursive)), 0);
  EXPECT_EQ(left(), "keep w/");
  trees::make(dir.path(), "w/v/f");
  EXPECT_EQ(inner.remove({".."}, HOQFilerOptions(kRecursive)), 0);
  EXPECT_EQ(left(), "keep");
}

TEST_F(Remove, AnEntryThatCannotBeRemovedStopsTheWalk) {
  trees::make(dir.path(), "d/a/f d/b d/c other");
  FaultPlan plan("/f", EBUSY, Call::Rmitem);
  failBy(plan);
  const Outcome outcome = remove({"d", "other"}, kRecursive);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            Texts{quoted("d/a/f") + ", Cannot remove item: Device or resource busy[16]"});
  EXPECT_EQ(access((dir / "d/a/f").c_str(), F_OK), 0);
  EXPECT_EQ(access((dir / "other").c_str(), F_OK), 0);
}

TEST_F(Remove, ADirectoryThatStaysIsReported) {
  trees::make(dir.path(), "d/a/f");
  FaultPlan plan("/d/a", EBUSY, Call::Rmdir);
  failBy(plan);
  const Outcome outcome = remove({"d"}, kRecursive);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            Texts{quoted("d/a") + ", Cannot remove directory: Device or resource busy[16]"});
  EXPECT_EQ(left(), "d/a/");
}

TEST_F(Remove, ADirectoryThatCannotBeReadStays) {
  trees::make(dir.path(), "d/f");
  FaultPlan plan("/d", EACCES, Call::Opendir);
  failBy(plan);
  const Outcome outcome = remove({"d"}, kRecursive);
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            Texts{quoted("d") + ", Cannot read directory: Permission denied[13]"});
  EXPECT_EQ(left(), "d/f");
}

TEST_F(Remove, WhatVanishesMeanwhileIsReported) {
  trees::make(dir.path(), "d/f");
  interfere([&](Call call, const std::string& path) {
    if (call == Call::Stat && path == dir / "d/f") unlink(path.c_str());
  });
  const Outcome outcome = remove({"d"}, kRecursive);
  EXPECT_EQ(outcome.code, 2056);
  EXPECT_EQ(outcome.messages,
            Texts{quoted("d/f") + ", Cannot get information: No such file or directory[2]"});
  EXPECT_EQ(left(), "d/");
}

TEST_F(Remove, NamesOfEveryByteGo) {
  trees::make(dir.path(), "d/ e/");
  trees::everyByteNames(dir / "d");
  EXPECT_EQ(remove({"d"}, kRecursive).code, 0);
  for (const std::string& name : trees::everyByteNames(dir / "e"))
    EXPECT_EQ(remove({"e/" + name}).code, 0) << name;
  EXPECT_EQ(left(), "e/");
}

TEST_F(Remove, AChainOf2000LevelsGoes) {
  constexpr int kLevels = 2000;
  const TempDir deep(TempDir::kMemory);
  if (deep.path().size() + 2 * kLevels + 4 >= PATH_MAX)
    GTEST_SKIP() << "the place for temporary files has too long a name: " << deep.path();
  trees::deepChain(deep.path(), kLevels);
  const DescriptorLimit limit(1024);
  int code = -1;
  Texts messages;
  inThreadWithStack(stackFor(1024 * 1024), [&] {
    const Rights threads(true, true);
    ScriptedFiler filer(deep.path());
    code = filer.remove({"d"}, HOQFilerOptions(kRecursive));
    messages = filer.handler->messages();
  });
  EXPECT_EQ(code, 0);
  EXPECT_EQ(messages, Texts{});
  EXPECT_EQ(trees::snapshot(deep.path()), "");
}

TEST_F(Remove, ErrorsComeWhileTheRequestRuns) {
  ScriptedFiler filer(dir.path());
  EXPECT_EQ(filer.remove({"missing"}, HOQFilerOptions(0)), 2056);
  EXPECT_EQ(filer.handler->events, Texts{"error"});
  EXPECT_EQ(filer.handler->errors.at(0).code, -1);
}

TEST_F(Remove, ADirectoryIsKeptAfterAFailureAndUnderTheWildcardBit) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(0);
  RemoveOperate op(routine, options);
  EXPECT_TRUE(op.path.reportStat);
  EXPECT_EQ(op.afterDir(0, 42), 42);
  const HOQFilerOptions patterns(kPatterns);
  RemoveOperate wild(routine, patterns);
  EXPECT_EQ(wild.afterDir(0, 0), 0);
  EXPECT_EQ(access(dir.path().c_str(), F_OK), 0);
}

}  // namespace
}  // namespace HOQ::test
