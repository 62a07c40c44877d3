#include "engine/FileOperate.h"

#include <cerrno>
#include <string>
#include <vector>

#include <hoq/HOQResultCodes.h>

#include "engine/FileOperateFunctor.h"
#include "engine/operatePaths.h"
#include "filemanager/engine/EngineFixture.h"
#include "support/MemberProbe.h"
#include "support/MemoryRoutine.h"
#include "support/SlotProbe.h"

namespace HOQ::test {
namespace {

class Operating : public EngineFixture {
 protected:
  void SetUp() override { trees::make(dir.path(), "w/a w/b w/c w/d/e x xtra"); }

  HOQFileRoutineLin routine{dir / "w"};
  const HOQFilerOptions plain{0};
};

TEST_F(Operating, CallbacksStandInTheirSlots) {
  EXPECT_EQ(slotOf(&FileOperate::operate), 2);  // the destructor takes the first two entries
  EXPECT_EQ(slotOf(&FileOperate::beforeDir), 3);
  EXPECT_EQ(slotOf(&FileOperate::afterDir), 4);
  EXPECT_EQ(slotOf(&FileOperate::filtrate), 5);
}

TEST_F(Operating, FieldsStandInOrder) {
  const FileOperate op(routine, plain, true);
  EXPECT_EQ(offsetIn(op, op.error), sizeof(void*));
  EXPECT_EQ(offsetIn(op, op.path), sizeof(void*) + sizeof(FileError));
  EXPECT_EQ(offsetIn(op.path, op.path.routine), 0U);
  EXPECT_EQ(offsetIn(op.path, op.path.owner), sizeof(void*));
  EXPECT_EQ(offsetIn(op.path, op.path.reportStat), 2 * sizeof(void*));
}

TEST_F(Operating, TheConstructorJoinsRoutineOptionsAndWalker) {
  for (const bool reportStat : {true, false}) {
    const HOQFilerOptions follow(HOQFilerOptions::kFollowLinks);
    const FileOperate op(routine, follow, reportStat);
    EXPECT_TRUE(routine.followLinks);
    EXPECT_EQ(op.path.routine, &routine);
    EXPECT_EQ(op.path.owner, &op);
    EXPECT_EQ(op.path.reportStat, reportStat);
    EXPECT_EQ(&op.error.options, &follow);
    const FileOperate closed(routine, plain, reportStat);
    EXPECT_FALSE(routine.followLinks);
  }
}

TEST_F(Operating, TheBaseDescendsOnlyWithTheRecursiveBit) {
  for (const int bits : {0, 0x2, 0x7D, 0x7F}) {
    const HOQFilerOptions options(bits);
    FileOperate op(routine, options, true);
    EXPECT_EQ(op.operate("a"), (bits & 0x2) != 0 ? 0 : 1) << bits;
  }
}

TEST_F(Operating, TheBaseSkipsDotsAndKeepsResults) {
  FileOperate op(routine, plain, true);
  EXPECT_NE(op.filtrate("."), 0);
  EXPECT_NE(op.filtrate(".."), 0);
  EXPECT_EQ(op.filtrate("..."), 0);
  EXPECT_EQ(op.filtrate(".x"), 0);
  EXPECT_EQ(op.filtrate("x"), 0);
  int depth = 3;
  EXPECT_EQ(op.beforeDir(depth), 0);
  EXPECT_EQ(depth, 3);
  for (const int result : {0, 1, -1, 42}) EXPECT_EQ(op.afterDir(0, result), result);
}

struct PlaceCase {
  const char* path;   // "@" at its front: the place
  const char* name;   // that operate() gets
  const char* place;  // relative to the place
};

TEST_F(Operating, ARequestPathStartsAtTheWorkingDirectory) {
  const PlaceCase rows[] = {
      {"a", "a", "w/a"},      {"./a", "a", "w/a"},      {"d//e", "d/e", "w/d/e"},
      {"d/../a", "a", "w/a"}, {".", "", "w"},           {"", "", "w"},
      {"d/..", "", "w"},      {"d/", "d", "w/d"},       {"d/.", "d", "w/d"},
      {"@/x", "@/x", "x"},    {"@/w/../x", "@/x", "x"}, {"@/w/", "@/w", "w"},
      {"../x", "@/x", "x"},   {"..", "@", "."},         {"d/../../w/a", "@/w/a", "w/a"},
      {"../w", "@/w", "w"},
  };
  for (const PlaceCase& row : rows) {
    SCOPED_TRACE(row.path);
    const auto whole = [&](std::string text) {
      return text[0] == '@' ? dir.path() + text.substr(1) : text;
    };
    ScriptedOperate op(routine, plain, true);
    std::string given = "none";
    op.onOperate = [&](const std::string& name) {
      given = name;
      return FileOperate::kDone;
    };
    EXPECT_EQ(op.addPath(whole(row.path)), 0);
    EXPECT_EQ(given, whole(row.name));
    EXPECT_EQ(placesOf(op), Texts{row.place});
    EXPECT_EQ(routine.path, dir / "w");
  }
}

TEST_F(Operating, APatternCharacterIsAnOrdinaryOneWithoutTheBit) {
  trees::make(dir.path(), "w/* w/[a]");
  ScriptedOperate op(routine, plain, true);
  EXPECT_EQ(op.addPath("*"), 0);
  EXPECT_EQ(op.addPath("[a]"), 0);
  EXPECT_EQ(placesOf(op), (Texts{"w/*", "w/[a]"}));
}

TEST_F(Operating, APathAboveTheRootIsReportedAndWalkedAsGiven) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  op.onOperate = [](const std::string&) { return FileOperate::kDone; };
  const std::string path = "/.." + dir.path() + "/x";
  EXPECT_EQ(op.addPath(path), 0);
  EXPECT_EQ(op.visited, Texts{path});
  EXPECT_EQ(handler->messages(), Texts{"Wrong path \"" + path + "\""});
  EXPECT_EQ(handler->errors.at(0).code, -1);
  EXPECT_EQ(routine.path, dir / "w");
}

TEST_F(Operating, ARelativePathAboveTheRootIsReported) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  op.onOperate = [](const std::string&) { return FileOperate::kDone; };
  std::string path = "x";
  for (int level = 0; level < 50; ++level) path.insert(0, "../");
  (void)op.addPath(path);  // what it leads to is the system's root
  ASSERT_FALSE(handler->errors.empty());
  EXPECT_EQ(handler->errors[0].message, "Wrong path \"" + path + "\"");
  EXPECT_EQ(routine.path, dir / "w");
}

TEST_F(Operating, AFailureThatNobodyReportedIsReportedWithTheSystemsError) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  op.onOperate = [](const std::string&) {
    errno = EACCES;
    return 42;
  };
  EXPECT_EQ(op.addPath("./a"), 42);
  EXPECT_EQ(handler->messages(), Texts{"\"./a\", Cannot process: Permission denied [13]"});
  EXPECT_EQ(handler->errors.at(0).code, 42);
  EXPECT_EQ(op.error.lastError, 42);
}

TEST_F(Operating, AFailureOfWhichNothingIsKnownIsReportedAsSuch) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  op.onOperate = [](const std::string&) {
    errno = 0;
    return -7;
  };
  EXPECT_EQ(op.addPath("a"), -7);
  EXPECT_EQ(handler->messages(), Texts{"Cannot process \"a\": unknown error"});
  EXPECT_EQ(handler->errors.at(0).code, -7);
}

TEST_F(Operating, AFailureThatWasReportedIsNotReportedAgain) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  op.onOperate = [&](const std::string&) {
    (void)op.setPathError(5, "own words");
    return 42;
  };
  EXPECT_EQ(op.addPath("a"), 42);
  EXPECT_EQ(handler->messages(), Texts{"\"" + dir / "w/a" + "\", own words"});
}

TEST_F(Operating, AnEarlierPathsErrorDoesNotHideALaterOne) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  op.onOperate = [&](const std::string& name) {
    if (name == "a") {
      (void)op.setPathError(5, "hidden");
      return FileOperate::kDone;
    }
    errno = 0;
    return 42;
  };
  EXPECT_EQ(op.addPath("a"), 0);
  EXPECT_EQ(op.error.lastError, 5);
  EXPECT_EQ(op.addPath("b"), 42);
  EXPECT_EQ(handler->messages().back(), "Cannot process \"b\": unknown error");
}

TEST_F(Operating, APathsErrorNamesTheItemInHand) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  routine.path = "/some/100%s item";
  EXPECT_EQ(op.setPathError(7, "50% gone"), 7);
  EXPECT_EQ(handler->messages(), Texts{"\"/some/100%s item\", 50% gone"});
  EXPECT_EQ(handler->errors.at(0).code, 7);
}

TEST_F(Operating, ALastErrorIsAppendedWithNothingBeforeItsBracket) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  routine.path = "/p";
  errno = ENOENT;
  EXPECT_EQ(op.setPathLastError(-1, "Cannot do it"), -1);
  EXPECT_EQ(handler->messages(), Texts{"\"/p\", Cannot do it: No such file or directory[2]"});
}

TEST_F(Operating, WithoutALastErrorTheMessageStandsAlone) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  routine.path = "/p";
  errno = 0;
  EXPECT_EQ(op.setPathLastError(-1, "Cannot do it"), -1);
  EXPECT_EQ(handler->messages(), Texts{"\"/p\", Cannot do it"});
}

/// A routine whose last error is of its own making.
class Speaking : public HOQFileRoutineLin {
 public:
  using HOQFileRoutineLin::HOQFileRoutineLin;
  int getLastError(HOQRequestErrorData& err) override {
    err.code = 2;
    err.message = "T ";
    return err.code;
  }
};

TEST_F(Operating, AnotherRoutinesErrorIsReportedOnThisOnesPath) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  routine.path = "/p";
  Speaking other("/other");
  errno = 0;
  EXPECT_EQ(op.setPathLastError(-3, "Cannot do it", &other), -3);
  EXPECT_EQ(handler->messages(), Texts{"\"/p\", Cannot do it: T [2]"});
}

TEST_F(Operating, TheFirstPathThatFailsStopsTheWalk) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  op.onOperate = [](const std::string& name) { return name == "b" ? -1 : 1; };
  EXPECT_EQ(operatePaths(op, {"a", "b", "c"}, dir / "w"), 2056);
  EXPECT_EQ(placesOf(op), (Texts{"w/a", "w/b"}));
}

TEST_F(Operating, PathsThatSucceedAreAllWalked) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  EXPECT_EQ(operatePaths(op, {"a", "b", "c"}, dir / "w"), 0);
  EXPECT_EQ(placesOf(op), (Texts{"w/a", "w/b", "w/c"}));
  EXPECT_EQ(op.error.cwd, dir / "w/");
  EXPECT_EQ(operatePaths(op, {}, dir / "w"), 0);
  EXPECT_TRUE(handler->errors.empty());
}

TEST_F(Operating, ABadWorkingDirectoryIsReportedAndTheWalkGoesOn) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  EXPECT_EQ(operatePaths(op, {dir / "x"}, "/.."), 0);
  EXPECT_EQ(placesOf(op), Texts{"x"});
  EXPECT_EQ(handler->messages(), Texts{"Invalid working directory \"/..\""});
  EXPECT_EQ(op.error.cwd, "");
}

TEST_F(Operating, TheFunctorTellsWhetherAPathFailed) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  op.onOperate = [](const std::string& name) { return name == "b" ? -1 : 1; };
  EXPECT_FALSE(FileOperateFunctor()(&op, "a"));
  EXPECT_TRUE(FileOperateFunctor()(&op, "b"));
}

TEST_F(Operating, TheHandlerIsToldOfEachItem) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  EXPECT_EQ(op.addPath("."), 0);
  EXPECT_EQ(handler->itemsReached, static_cast<long>(op.visited.size()));
  EXPECT_EQ(op.visited.size(), 6U);
}

TEST_F(Operating, TheWalkEndsBeforeTheItemThatTheHandlerDoesNotWant) {
  for (const long most : {0L, 1L, 3L}) {
    SCOPED_TRACE(most);
    ScriptedOperate op(routine, plain, true);
    const CollectingHandlerPtr reluctant(new CollectingHandler);
    reluctant->mostItems = most;
    op.error.handler = reluctant;
    EXPECT_EQ(operatePaths(op, {".", "."}, ""), kPathFailed);
    EXPECT_EQ(static_cast<long>(op.visited.size()), most);
    EXPECT_EQ(reluctant->itemsReached, most + 1);
  }
}

TEST_F(Operating, AMessageOfALongPathIsCut) {
  ScriptedOperate op(routine, plain, true);
  op.error.handler = handler;
  const std::string path(2000, 'p');
  EXPECT_NE(op.addPath(path), 0);
  ASSERT_EQ(handler->errors.size(), 1U);
  EXPECT_EQ(handler->errors[0].message.size(), 1023U);
}

}  // namespace
}  // namespace HOQ::test
