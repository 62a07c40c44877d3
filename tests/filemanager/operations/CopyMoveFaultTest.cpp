// Call n of a copy or move fails, for n = 1, 2, until a run is clean.
#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "filemanager/operations/ChangesFixture.h"

namespace HOQ::test {
namespace {

constexpr int kMostCalls = 500;
constexpr int kErrors[] = {EIO, ENOSPC, EEXIST, EINTR};

// Calls whose failures a copy or move takes without a word. Each has its reason.
const std::set<Call> kTaken = {
    Call::Readdir,                              // passes for the end of the directory
    Call::Stat,                                 // of a target that is thereby taken for missing
    Call::Close,                                // of the source, which was only read
    Call::Chmod,   Call::Chown,  Call::Getown,  // the contents are there, whoever owns them
    Call::Remove,  Call::Rmlink, Call::Rmdir,   // what was copied and cannot be removed stays
    Call::Copy,                                 // which a move asks first in its turn
};

struct SweepCase {
  const char* what;
  bool moves;
  bool across;
  const char* tree;  // the source is "s"
  const char* treeElsewhere;
  const char* target;  // "^" stands for the elsewhere
  int options;
};

const SweepCase kSweeps[] = {
    {"copy a tree", false, true, "s/a=one s/d/b=two s/l->a s/p|", "", "^/t", kRecursive},
    {"copy a tree into a directory", false, true, "s/a=one s/d/b=two", "t/", "^/t", kRecursive},
    {"copy a tree over its like", false, true, "s/a=1 s/d/b=2 s/l->a s/p|",
     "t/s/a=longer t/s/d/b=longer t/s/l->longer t/s/p=longer", "^/t", kRecursive | kOverwrite},
    {"copy what links lead to", false, true, "s/l->../e s/a=1 e/b=2", "", "^/t",
     kRecursive | kFollow},
    {"copy a file over another", false, true, "s=1", "t=longer", "^/t", kOverwrite},
    {"move a tree", true, true, "s/a=one s/d/b=two s/l->a s/p|", "", "^/t", kRecursive},
    {"move a tree over its like", true, true, "s/a=1 s/d/b=2 s/l->a s/p|",
     "t/s/a=longer t/s/d/b=longer t/s/l->longer t/s/p=longer", "^/t", kRecursive | kOverwrite},
    {"move what links lead to", true, true, "s/l->../e s/a=1 e/b=2 e/f/c=3", "", "^/t",
     kRecursive | kFollow},
    {"move a file over another", true, true, "s=1", "t=longer", "^/t", kOverwrite},
    {"move a file to a new name", true, false, "s=1", "", "t", 0},
    {"move a file into a directory", true, false, "s=1 t/", "", "t", 0},
    {"move a FIFO into a directory", true, false, "s| t/", "", "t", 0},
};

class CopyMoveFault : public ChangesFixture {
 protected:
  static std::string fileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  /// How many of the first descriptors are open.
  static int openDescriptors() {
    int open = 0;
    for (int fd = 0; fd < 256; ++fd) open += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
    return open;
  }

  static bool isThere(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
  }

  /// Where the target is in the end: "t", or "s" in it.
  std::string place(const SweepCase& row) const {
    const std::string target = row.target[0] == '^' ? elsewhere / "t" : dir / "t";
    const std::string tree = std::string(row.tree) + row.treeElsewhere;
    const bool into = tree.find("t/") != std::string::npos;
    return into ? target + "/s" : target;
  }

  /// Every item of the source but its directories is where it was or whole at its place; after a
  /// request that is `done`, at its place.
  void expectNothingLost(const SweepCase& row, const FaultPlan& plan, bool done) {
    const bool cut = plan.struck() && plan.call() == Call::Readdir;  // half a directory: kept
    const TempDir model(TempDir::kMemory);
    trees::make(model.path(), row.tree);
    for (const std::string& item : trees::pathsBelow(model.path())) {
      const struct stat expected = infoOf(model / item);
      if (S_ISDIR(expected.st_mode)) continue;
      SCOPED_TRACE(item);
      const bool stays = same(model / item, dir / item);
      if (item[0] != 's') {  // what a link leads to is nobody's to take
        EXPECT_TRUE(stays);
        continue;
      }
      const std::string arrived = place(row) + item.substr(1);
      const bool followed = S_ISLNK(expected.st_mode) && (row.options & kFollow) != 0;
      const bool arrives = followed ? arrivedBehind(arrived) : same(model / item, arrived);
      if (cut && followed) continue;  // the link may go; what it leads to is seen to above
      if (done && !cut) {
        EXPECT_TRUE(arrives);
      }
      EXPECT_TRUE(stays || arrives);
      if (!row.moves) {
        EXPECT_TRUE(stays);
      }
    }
  }

  /// What the link in the trees above leads to, as a tree at its place.
  static bool arrivedBehind(const std::string& place) { return fileText(place + "/b") == "2"; }

  static bool same(const std::string& one, const std::string& other) {
    struct stat first;
    struct stat second;
    if (lstat(one.c_str(), &first) != 0 || lstat(other.c_str(), &second) != 0) return false;
    if ((first.st_mode & S_IFMT) != (second.st_mode & S_IFMT)) return false;
    if (S_ISREG(first.st_mode)) return fileText(one) == fileText(other);
    if (!S_ISLNK(first.st_mode)) return true;
    char texts[2][256] = {};
    return readlink(one.c_str(), texts[0], 255) > 0 && readlink(other.c_str(), texts[1], 255) > 0 &&
           std::strcmp(texts[0], texts[1]) == 0;
  }

  /// Whether a run with every call well comes after the n-th.
  bool runWith(const SweepCase& row, int n, int error) {
    trees::make(dir.path(), row.tree);
    trees::make(elsewhere.path(), row.treeElsewhere);
    FaultPlan plan(n, error);
    failBy(plan);
    const int descriptors = openDescriptors();
    const Said outcome = carry(row.moves ? kMove : kCopy, {"s"}, placed(row.target), row.options);
    SCOPED_TRACE(testing::Message() << plan);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(outcome.messages.size(), outcome.code == 0 ? 0U : 1U)
        << testing::PrintToString(outcome.messages);
    expectNothingLost(row, plan, outcome.code == 0);
    if (plan.struck()) {
      if (outcome.code == 0) {
        EXPECT_TRUE(kTaken.count(plan.call())) << "a failure was swallowed";
      }
    } else {
      EXPECT_EQ(outcome.code, 0);
      EXPECT_GT(n, 5);  // it asked the system for something
    }
    empty();
    return !plan.struck();
  }

  void sweep(const SweepCase& row) {
    SCOPED_TRACE(row.what);
    for (const int error : kErrors)
      for (int n = 1; !runWith(row, n, error); ++n) ASSERT_LE(n, kMostCalls);  // the sweep ends
  }
};

TEST_F(CopyMoveFault, NeverLosesASourceNorCallsHalfACopyDone) {
  for (const SweepCase& row : kSweeps)
    if (!row.across) sweep(row);
}

TEST_F(CopyMoveFault, NeverLosesASourceNorCallsHalfACopyDoneOnAnotherFileSystem) {
  HOQ_NEEDS_TWO_FILE_SYSTEMS();
  for (const SweepCase& row : kSweeps)
    if (row.across) sweep(row);
}

struct StepCase {
  const char* what;
  Call call;
  const char* pathEnd;
  const char* tree;     // elsewhere: "t/"
  const char* message;  // behind the source's path
};

const StepCase kSteps[] = {
    {"the source opens", Call::Open, "/s", "s=1", "Cannot open file to read"},
    {"the target opens", Call::Open, "/t/s", "s=1", "Cannot create file to write"},
    {"a read", Call::Read, "/s", "s=1", "Cannot read from file"},
    {"a write", Call::Write, "/t/s", "s=1", "Cannot write to file"},
    {"the target closes", Call::Close, "/t/s", "s=1", "Cannot write to file"},
    {"a directory is made", Call::Mkdir, "/t/s", "s/", "Cannot create directory"},
    {"a directory is read", Call::Opendir, "/s", "s/", "Cannot read directory"},
    {"a link is read", Call::Readlink, "/s", "s->x", "Cannot read link"},
    {"a link is made", Call::Link, "/t/s", "s->x", "Cannot create symbolic link"},
    {"a special file is made", Call::Copy, "/s", "s|", "Cannot copy/move item"},
};

TEST_F(CopyMoveFault, EachStepHasItsWordsAndLeavesTheSource) {
  HOQ_NEEDS_TWO_FILE_SYSTEMS();
  for (const StepCase& row : kSteps)
    for (const Operation operation : {kCopy, kMove}) {
      SCOPED_TRACE(row.what);
      trees::make(dir.path(), row.tree);
      trees::make(elsewhere.path(), "t/");
      FaultPlan plan(row.pathEnd, EIO, row.call);
      failBy(plan);
      const Said outcome = carry(operation, {"s"}, elsewhere / "t", kRecursive);
      EXPECT_TRUE(plan.struck());
      EXPECT_EQ(outcome.code, 2056);
      EXPECT_EQ(outcome.codes, std::vector<int>{-1});
      EXPECT_EQ(outcome.messages,
                (Texts{"\"" + dir / "s" + "\", " + row.message + ": Input/output error[5]"}));
      EXPECT_EQ(left(), row.tree);
      empty();
    }
}

TEST_F(CopyMoveFault, ATargetThatCannotBeRemovedIsNotWrittenTo) {
  trees::make(dir.path(), "f=1 g=2");
  FaultPlan plan("/g", EPERM, Call::Rmitem);
  failBy(plan);
  for (const Operation operation : {kCopy, kMove}) {
    const Said outcome = carry(operation, {"f"}, "g", kOverwrite);
    EXPECT_EQ(outcome.messages,
              placed(Texts{"\"@/f\", Cannot remove directory: Operation not permitted[1]"}));
    EXPECT_EQ(left(), "f=1 g=2");
  }
  EXPECT_TRUE(plan.struck());
}

// What was written until then stays, with the mode that it was made with.
TEST_F(CopyMoveFault, APartOfAFileStays) {
  if (engine() != HOQContentsEngine::kBlocks) GTEST_SKIP() << "speaks of blocks";
  trees::make(dir.path(), "s%600=" + std::string(3000, 'x'));
  FaultPlan plan(3, EIO, Call::Write);
  failBy(plan);
  EXPECT_EQ(move({"s"}, "t").code, 2056);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(fileText(dir / "t"), std::string(2048, 'x'));
  EXPECT_EQ(modeOf("t"), 0755U);
  EXPECT_EQ(fileText(dir / "s"), std::string(3000, 'x'));
}

TEST_F(CopyMoveFault, BothFilesAreClosedOnceWhateverFails) {
  for (const Call call : {Call::Read, Call::Write, Call::Open}) {
    trees::make(dir.path(), "s=1");
    int closes = 0;
    std::vector<boost::shared_ptr<HOQFileRoutine>> made;
    FaultPlan plan(call == Call::Open ? 2 : 1, EIO, call);
    maker = [&](const std::string& directory) {
      made.emplace_back(new FaultyRoutine(directory, plan));
      return made.back();
    };
    EXPECT_EQ(copy({"s"}, "t").code, 2056);
    EXPECT_TRUE(plan.struck());
    ASSERT_EQ(made.size(), 2U);
    for (const auto& routine : made) closes += routine->isOpened() ? 0 : 1;
    EXPECT_EQ(closes, 2) << call;
    empty();
  }
}

// What stays behind a move is no failure of it.
TEST_F(CopyMoveFault, ASourceThatCannotBeRemovedStaysWithoutAnError) {
  HOQ_NEEDS_TWO_FILE_SYSTEMS();
  trees::make(dir.path(), "s/f=1 s/d/ s/l->x");
  for (const Call call : {Call::Remove, Call::Rmdir, Call::Rmlink}) {
    FaultPlan plan("", EBUSY, call);
    failBy(plan);
    const Said outcome = move({"s"}, elsewhere / "t", kRecursive | kOverwrite);
    EXPECT_TRUE(plan.struck()) << call;
    EXPECT_EQ(outcome.code, 0) << call;
    EXPECT_EQ(outcome.messages, Texts{}) << call;
    EXPECT_EQ(leftElsewhere(), "t/d/ t/f=1 t/l->x") << call;
    EXPECT_TRUE(isThere(dir / "s")) << call;
    empty();
    trees::make(dir.path(), "s/f=1 s/d/ s/l->x");
  }
}

}  // namespace
}  // namespace HOQ::test
