#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "engine/FilePath.h"
#include "engine/operatePaths.h"
#include "filemanager/engine/EngineFixture.h"
#include "support/FaultyRoutine.h"

namespace HOQ::test {
namespace {

constexpr char kTree[] =
    "a1/b a1/c.txt a2/b a2/sub/b afile .hidden x.txt y.txt d/deep/er/z.txt "
    "back\\slash backXslash a] empty/ l->a1";

class Expanding : public EngineFixture {
 protected:
  void SetUp() override { trees::make(dir.path(), kTree); }
};

struct PatternCase {
  const char* pattern;
  std::vector<std::string> visited;
  int reports = 0;  // where every item must be there
};

const PatternCase kPatterns[] = {
    {"*.txt", {"x.txt", "y.txt"}},
    {"?.txt", {"x.txt", "y.txt"}},
    {"[x]*", {"x.txt"}},
    {"[!a-x.]*", {"y.txt"}},
    {"*hidden", {".hidden"}},  // a leading dot is matched like anything
    {"?hidden", {".hidden"}},
    {".*", {".hidden"}},  // and the dots never are
    {"??", {"a1", "a2", "a]"}},
    {"a]", {"a]"}},  // a bracket alone makes a pattern, which matches itself
    {"*nothing*", {}},
    {"a1/*.none", {}},
    {"missing/*", {}},
    {"afile/*", {}},
    {"missing/deeper/*", {}},
    {"a1/*", {"a1/b", "a1/c.txt"}},
    {"a1//*", {"a1/b", "a1/c.txt"}},
    {"a1/../a2/*", {"a2/b", "a2/sub"}},
    {"./a1/*", {"a1/b", "a1/c.txt"}},
    {"l/*", {}},  // a link is no directory where links are not followed
    {"a[12]/b", {"a1/b", "a2/b"}},
    {"a[12]//b", {"a1/b", "a2/b"}},
    {"a*/b", {"a1/b", "a2/b"}, 2},  // "afile" and "a]" have no "b"
    {"a*/*", {"a1/b", "a1/c.txt", "a2/b", "a2/sub"}},
    {"*/*/b", {"a2/sub/b"}, 4},  // three files and d/deep have none
    {"*/*/*/*.txt", {"d/deep/er/z.txt"}},
    {"d/*/er/z.txt", {"d/deep/er/z.txt"}},
    {"a[12]/", {"a1", "a2"}},
    {"a[12]/.", {"a1", "a2"}},
    {"a[12]/../x.txt", {"x.txt", "x.txt"}},
    {"back\\*", {"back\\slash"}},  // a backslash stands for itself
    {"back\\?lash", {"back\\slash"}},
    {"back?slash", {"backXslash", "back\\slash"}},
    {"x.txt", {"x.txt"}},
    {"a1/./b", {"a1/b"}},
    {"a1/b/../../x.txt", {"x.txt"}},
    {"missing", {}, 1},
    {"empty/*", {}},
    {"empty/*/x", {}},
};

TEST_F(Expanding, VisitsWhatThePatternMatches) {
  for (const PatternCase& row : kPatterns) {
    SCOPED_TRACE(row.pattern);
    HOQFileRoutineLin routine(dir.path());
    const HOQFilerOptions options(HOQFilerOptions::kWildcards);
    ScriptedOperate op(routine, options, true);
    const CollectingHandlerPtr reports(new CollectingHandler);
    op.error.handler = reports;
    op.onOperate = [](const std::string&) { return FileOperate::kDone; };
    EXPECT_EQ(op.path.addWildItem("", row.pattern), 0);
    EXPECT_EQ(placesOf(op), row.visited);
    EXPECT_EQ(static_cast<int>(reports->errors.size()), row.reports);
    EXPECT_EQ(routine.path, dir.path());
  }
}

TEST_F(Expanding, MissingTailsAreHandedOnWhereItemsNeedNotBeThere) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  ScriptedOperate op(routine, options, false);
  op.error.handler = handler;
  op.onOperate = [](const std::string&) { return FileOperate::kDone; };
  EXPECT_EQ(op.path.addWildItem("", "a[f12]*/b"), 0);
  EXPECT_EQ(placesOf(op), (Texts{"a1/b", "a2/b", "afile/b"}));
  EXPECT_TRUE(handler->errors.empty());
}

TEST_F(Expanding, AbsolutePatternsBeginAtTheRoot) {
  const std::string place = dir.path();
  const std::size_t slash = place.rfind('/');
  const std::string lastAsPattern =
      place.substr(0, slash + 1) + "[" + place[slash + 1] + "]" + place.substr(slash + 2);
  const std::pair<std::string, Texts> rows[] = {
      {place + "/?.txt", {"x.txt", "y.txt"}},
      {lastAsPattern + "/x.txt", {"x.txt"}},
      {lastAsPattern, {"."}},
      {place + "/x.txt", {"x.txt"}},
      {"//" + place.substr(1) + "/./x.*", {"x.txt"}},
  };
  for (const auto& [pattern, visited] : rows) {
    SCOPED_TRACE(pattern);
    HOQFileRoutineLin routine("/nowhere/at/all");
    const HOQFilerOptions options(HOQFilerOptions::kWildcards);
    ScriptedOperate op(routine, options, true);
    op.onOperate = [](const std::string&) { return FileOperate::kDone; };
    EXPECT_EQ(op.addPath(pattern), 0);
    EXPECT_EQ(placesOf(op), visited);
    EXPECT_EQ(routine.path, "/nowhere/at/all");
  }
}

TEST_F(Expanding, APatternInTheFirstComponentReadsTheRoot) {
  const std::string top = dir.path().substr(1, dir.path().find('/', 1) - 1);
  HOQFileRoutineLin routine("");
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  ScriptedOperate op(routine, options, true);
  op.onOperate = [](const std::string&) { return FileOperate::kDone; };
  EXPECT_EQ(op.addPath("/[" + top.substr(0, 1) + "]" + top.substr(1)), 0);
  EXPECT_EQ(placesOf(op), Texts{"/" + top});
}

TEST_F(Expanding, AnEmptyPatternWalksThePrefix) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  for (const char* pattern : {"", static_cast<const char*>(nullptr)}) {
    ScriptedOperate op(routine, options, true);
    EXPECT_EQ(op.path.addWildItem("a1", pattern), 0);
    EXPECT_EQ(placesOf(op), (Texts{"a1", "a1/b", "a1/c.txt"}));
    EXPECT_EQ(routine.path, dir.path());
  }
}

TEST_F(Expanding, APrefixStandsBeforeThePattern) {
  const std::pair<const char*, Texts> rows[] = {
      {"*", {"a2/b", "a2/sub"}}, {"b", {"a2/b"}}, {"sub/*", {"a2/sub/b"}}, {"../a1/?", {"a1/b"}}};
  for (const auto& [pattern, visited] : rows) {
    HOQFileRoutineLin routine(dir.path());
    const HOQFilerOptions options(HOQFilerOptions::kWildcards);
    ScriptedOperate op(routine, options, true);
    op.onOperate = [](const std::string&) { return FileOperate::kDone; };
    EXPECT_EQ(op.path.addWildItem("a2", pattern), 0);
    EXPECT_EQ(placesOf(op), visited) << pattern;
    EXPECT_EQ(routine.path, dir.path());
  }
}

TEST_F(Expanding, ADirectoryThatIsScannedHasItsCallbacks) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  ScriptedOperate op(routine, options, true);
  EXPECT_EQ(op.path.addWildItem("", "a1/b*"), 0);
  const Texts expected = {"beforeDir 0", "operate b at " + dir / "a1/b", "afterDir 0 0"};
  EXPECT_EQ(op.log, expected);
}

TEST_F(Expanding, TheCallbacksOfAScanDecideAsInAWalk) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  ScriptedOperate skipped(routine, options, true);
  skipped.onBeforeDir = [](int&) { return 5; };
  skipped.onAfterDir = [](int, int result) { return result + 1; };
  EXPECT_EQ(skipped.path.addWildItem("", "a1/*"), 6);
  EXPECT_TRUE(skipped.visited.empty());
  ScriptedOperate sieved(routine, options, true);
  sieved.onFiltrate = [](const std::string& name) { return name == "b" ? 0 : 1; };
  EXPECT_EQ(sieved.path.addWildItem("", "a1/*"), 0);
  EXPECT_EQ(placesOf(sieved), Texts{"a1/b"});
  ScriptedOperate stopped(routine, options, true);
  stopped.onOperate = [](const std::string&) { return 42; };
  EXPECT_EQ(stopped.path.addWildItem("", "a1/*"), 42);
  EXPECT_EQ(stopped.visited.size(), 1U);
}

// Kept: what fails below a tail without wildcards is reported and stops nothing.
TEST_F(Expanding, AFailureBelowAPlainTailStopsNothing) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  ScriptedOperate op(routine, options, true);
  op.error.handler = handler;
  op.onOperate = [&](const std::string&) { return op.setPathError(42, "refused"); };
  EXPECT_EQ(op.path.addWildItem("", "a[12]/b"), 0);
  EXPECT_EQ(op.visited.size(), 2U);
  EXPECT_EQ(handler->errors.size(), 2U);
  EXPECT_EQ(operatePaths(op, {"x.txt", "y.txt"}, dir.path()), 0);
  EXPECT_EQ(op.visited.size(), 4U);
}

TEST_F(Expanding, ADirectoryThatCannotBeScannedIsReported) {
  FaultPlan plan("/a1", EACCES, Call::Opendir);
  FaultyRoutine routine(dir.path(), plan);
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  ScriptedOperate op(routine, options, true);
  op.error.handler = handler;
  EXPECT_EQ(op.path.addWildItem("", "a1/*"), -1);
  EXPECT_TRUE(plan.struck());
  EXPECT_EQ(handler->messages(),
            Texts{"\"" + dir / "a1" + "\", Cannot read directory: Permission denied[13]"});
  EXPECT_TRUE(op.log.empty());
  EXPECT_EQ(routine.path, dir.path());
}

TEST_F(Expanding, ADirectoryPartAboveTheRootCannotBeCanonized) {
  std::string up;
  for (int level = 0; level < 50; ++level) up += "../";
  for (const char* tail : {"*", "x/*", "plain", "x*/y"}) {
    SCOPED_TRACE(tail);
    HOQFileRoutineLin routine(dir.path());
    const HOQFilerOptions options(HOQFilerOptions::kWildcards);
    ScriptedOperate op(routine, options, true);
    const CollectingHandlerPtr reports(new CollectingHandler);
    op.error.handler = reports;
    EXPECT_EQ(op.path.addWildItem("", (up + tail).c_str()), -1);
    ASSERT_EQ(reports->errors.size(), 1U);
    EXPECT_EQ(reports->errors[0].code, -1);
    const std::string& message = reports->errors[0].message;
    const std::string expected = "\", Cannot cannonize path";
    ASSERT_GE(message.size(), expected.size());
    EXPECT_EQ(message.substr(message.size() - expected.size()), expected);
    EXPECT_TRUE(op.log.empty());
    EXPECT_EQ(routine.path, dir.path());
  }
}

// Canonizing makes the current path shorter than it was, so its text is put back, not its length.
TEST_F(Expanding, APatternThatLeadsOutLeavesTheNextPathAlone) {
  HOQFileRoutineLin routine(dir / "a1");
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  ScriptedOperate op(routine, options, true);
  op.onOperate = [](const std::string&) { return FileOperate::kDone; };
  EXPECT_EQ(op.addPath("../x*"), 0);
  EXPECT_EQ(routine.path, dir / "a1");
  EXPECT_EQ(op.addPath("b"), 0);
  EXPECT_EQ(op.addPath("../a2/sub/../b"), 0);
  EXPECT_EQ(op.addPath("c.txt"), 0);
  EXPECT_EQ(placesOf(op), (Texts{"a1/b", "a1/c.txt", "a2/b", "x.txt"}));
  EXPECT_EQ(routine.path, dir / "a1");
}

TEST_F(Expanding, AMatchThatLeadsOutLeavesTheNextMatchAlone) {
  trees::make(dir.path(), "long-name/a1/ long-name/a2/ long-name/a3/ z/f");
  for (const auto& [pattern, visited] :
       {std::pair<const char*, Texts>{"a?/../../z", {"z", "z", "z"}},
        std::pair<const char*, Texts>{"a?/../../z/*", {"z/f", "z/f", "z/f"}}}) {
    HOQFileRoutineLin routine(dir / "long-name");
    const HOQFilerOptions options(HOQFilerOptions::kWildcards);
    ScriptedOperate op(routine, options, true);
    op.onOperate = [](const std::string&) { return FileOperate::kDone; };
    EXPECT_EQ(op.path.addWildItem("", pattern), 0);
    EXPECT_EQ(placesOf(op), visited);
    EXPECT_EQ(routine.path, dir / "long-name");
  }
}

TEST_F(Expanding, DotsNeverMatchWhateverTheOperationTakes) {
  HOQFileRoutineLin routine(dir / "a1");
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  for (const char* pattern : {"*", ".*", "?", "??"}) {
    ScriptedOperate op(routine, options, true);
    op.onFiltrate = [](const std::string&) { return 0; };
    op.onOperate = [](const std::string& name) {
      EXPECT_NE(name, ".");
      EXPECT_NE(name, "..");
      return FileOperate::kDone;
    };
    EXPECT_EQ(op.path.addWildItem("", pattern), 0) << pattern;
  }
}

TEST_F(Expanding, LinkedDirectoriesAreScannedWhereLinksAreFollowed) {
  HOQFileRoutineLin routine(dir.path());
  const HOQFilerOptions options(HOQFilerOptions::kWildcards | HOQFilerOptions::kFollowLinks);
  ScriptedOperate op(routine, options, true);
  op.onOperate = [](const std::string&) { return FileOperate::kDone; };
  EXPECT_EQ(op.path.addWildItem("", "l/*"), 0);
  EXPECT_EQ(placesOf(op), (Texts{"l/b", "l/c.txt"}));
}

TEST_F(Expanding, NamesOfEveryByteMatch) {
  trees::make(dir.path(), "odd/");
  const std::vector<std::string> names = trees::everyByteNames(dir / "odd");
  HOQFileRoutineLin routine(dir / "odd");
  const HOQFilerOptions options(HOQFilerOptions::kWildcards);
  ScriptedOperate op(routine, options, true);
  EXPECT_EQ(op.path.addWildItem("", "*"), 0);
  EXPECT_EQ(op.visited.size(), names.size());
}

}  // namespace
}  // namespace HOQ::test
