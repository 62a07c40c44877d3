#include <gtest/gtest.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "routine/HOQFileRoutineLin.h"
#include "support/ScriptedFiler.h"
#include "support/Trees.h"

namespace HOQ::test {
namespace {

using Texts = std::vector<std::string>;

class FilerRequest : public testing::Test {
 protected:
  TempDir dir;
  const HOQFilerOptions plain{0};
  const Rights rights{true, true};
};

TEST_F(FilerRequest, ARoutineIsALinuxOneAtItsDirectoryAndAlwaysFresh) {
  HOQFilerLocal filer{HOQAccessProviderPtr()};
  const auto first = filer.createRoutine("/a");
  const auto second = filer.createRoutine("/a");
  ASSERT_TRUE(first && second);
  EXPECT_NE(first, second);
  EXPECT_EQ(first->path, "/a");
  EXPECT_EQ(first->getType(), 2U);
  EXPECT_NE(dynamic_cast<HOQFileRoutineLin*>(first.get()), nullptr);
}

TEST_F(FilerRequest, WithoutARoutineAChangeSays2002) {
  ScriptedFiler filer(dir.path(),
                      [](const std::string&) { return boost::shared_ptr<HOQFileRoutine>(); });
  EXPECT_EQ(filer.remove({"a"}, plain), 2002);
  EXPECT_EQ(filer.mkdir({"a"}, nullptr, plain), 2002);
  EXPECT_TRUE(filer.handler->events.empty());
  EXPECT_EQ(filer.routinesAsked, 2);
}

TEST_F(FilerRequest, WithoutARoutineAnAnswerIsStillSent) {
  ScriptedFiler filer(dir.path(),
                      [](const std::string&) { return boost::shared_ptr<HOQFileRoutine>(); });
  HOQFiler::FileTypes records;
  EXPECT_EQ(filer.list({"a", "b"}, &records, plain, nullptr, 0), -1);
  EXPECT_EQ(filer.stat({"a", "b"}, &records, plain, 0), -1);
  EXPECT_EQ(filer.handler->events, (Texts{"answer", "answer"}));
  EXPECT_EQ(filer.routinesAsked, 2);  // the first that is missing ends the loop
}

TEST_F(FilerRequest, OperationsDoNotShareARoutineNorDoTheirPaths) {
  trees::make(dir.path(), "d/ e/ f");
  std::vector<boost::shared_ptr<HOQFileRoutine>> made;
  ScriptedFiler filer(dir.path(), [&](const std::string& directory) {
    made.emplace_back(new HOQFileRoutineLin(directory));
    return made.back();
  });
  HOQFiler::FileTypes records;
  EXPECT_EQ(filer.list({"d", "e"}, &records, plain, nullptr, 0), 0);
  EXPECT_EQ(made.size(), 2U);
  EXPECT_EQ(filer.stat({"d", "e", "f"}, &records, plain, 0), 0);
  EXPECT_EQ(made.size(), 5U);
  EXPECT_EQ(filer.remove({"d", "f"}, plain), 0);
  EXPECT_EQ(made.size(), 6U);
  EXPECT_EQ(filer.mkdir({"x", "y"}, nullptr, plain), 0);
  EXPECT_EQ(made.size(), 7U);
  EXPECT_EQ(filer.askedFor, Texts(7, dir.path()));
  for (const auto& routine : made) EXPECT_EQ(routine.use_count(), 1);  // none is kept
}

TEST_F(FilerRequest, AnAnswerCarriesItsTagCodeAndRecordsAndNoText) {
  trees::make(dir.path(), "d/f");
  ScriptedFiler filer(dir.path());
  HOQFiler::FileTypes records;
  EXPECT_EQ(filer.list({"missing"}, &records, plain, nullptr, 0), 2056);
  EXPECT_EQ(filer.handler->events, (Texts{"error", "answer"}));
  ASSERT_EQ(filer.handler->answers.size(), 1U);
  EXPECT_EQ(filer.handler->answers[0].tag, 1161);
  EXPECT_EQ(filer.handler->answers[0].code, 2056);
  EXPECT_EQ(filer.handler->answers[0].message, "");
  EXPECT_EQ(filer.handler->answers[0].records, records);
  EXPECT_EQ(records.size(), 2U);
}

TEST_F(FilerRequest, ListingWithoutPathsAnswersAnEmptyList) {
  ScriptedFiler filer(dir.path());
  HOQFiler::FileTypes records;
  EXPECT_EQ(filer.list({}, &records, plain, nullptr, 0), -1);
  EXPECT_EQ(filer.stat({}, &records, plain, 0), -1);
  ASSERT_EQ(filer.handler->answers.size(), 2U);
  for (const auto& answer : filer.handler->answers) {
    EXPECT_EQ(answer.code, -1);
    EXPECT_TRUE(answer.records.empty());
  }
}

TEST_F(FilerRequest, AnAnswerNeedsAPlaceForItsRecords) {
  ScriptedFiler filer(dir.path());
  EXPECT_DEATH((void)filer.list({}, nullptr, plain, nullptr, 0), "");
  EXPECT_DEATH((void)filer.stat({}, nullptr, plain, 0), "");
}

TEST_F(FilerRequest, APlaceIsAskedForBeforeTheRight) {
  ScriptedFiler filer(dir.path());
  const Rights none(false, false);
  EXPECT_DEATH((void)filer.list({}, nullptr, plain, nullptr, 0), "");
}

TEST_F(FilerRequest, WithoutAHandlerFailuresAreTheErrorText) {
  clearErrorMessage();
  HOQFilerLocal filer{HOQAccessProviderPtr()};
  filer.setCwd(dir.path());
  EXPECT_EQ(filer.remove({"missing"}, plain), 2056);
  EXPECT_EQ(getErrorMessage(),
            "\"" + dir / "missing" + "\", Cannot get information: No such file or directory[2]");
  HOQFiler::FileTypes records;
  EXPECT_EQ(filer.list({"absent"}, &records, plain, nullptr, 0), 2056);
  EXPECT_EQ(getErrorMessage(), "\"" + dir / "absent" + "\", Cannot list/stat non directory item");
  clearErrorMessage();
}

TEST_F(FilerRequest, ABadWorkingDirectoryIsReported) {
  trees::make(dir.path(), "f");
  ScriptedFiler filer("/../nowhere");
  EXPECT_EQ(filer.remove({dir / "f"}, plain), 0);
  EXPECT_EQ(filer.handler->messages(), Texts{"Invalid working directory \"/../nowhere\""});
  EXPECT_EQ(trees::snapshot(dir.path()), "");
}

TEST_F(FilerRequest, AWorkingDirectoryPersistsAcrossOperations) {
  trees::make(dir.path(), "w/");
  ScriptedFiler filer(dir / "w");
  EXPECT_EQ(filer.mkdir({"a"}, nullptr, plain), 0);
  EXPECT_EQ(filer.mkdir({"a/b", "c"}, nullptr, plain), 0);
  EXPECT_EQ(filer.remove({"c"}, plain), 0);
  filer.setCwd(dir.path());
  EXPECT_EQ(filer.mkdir({"d"}, nullptr, plain), 0);
  EXPECT_EQ(trees::snapshot(dir.path()), "d/ w/a/b/");
}

TEST_F(FilerRequest, TheHandlerIsTheContextsOfTheMoment) {
  ScriptedFiler filer(dir.path());
  const CollectingHandlerPtr other(new CollectingHandler);
  EXPECT_EQ(filer.remove({"a"}, plain), 2056);
  filer.sync(other, "");
  EXPECT_EQ(filer.remove({"b"}, plain), 2056);
  EXPECT_EQ(filer.handler->errors.size(), 1U);
  EXPECT_EQ(other->errors.size(), 1U);
}

TEST_F(FilerRequest, TheHandlerHearsOfEachItem) {
  trees::make(dir.path(), "d/a d/b d/c");
  ScriptedFiler filer(dir.path());
  EXPECT_EQ(filer.remove({"d"}, HOQFilerOptions(0x2)), 0);
  EXPECT_EQ(filer.handler->itemsReached, 4);
  HOQFiler::FileTypes records;
  EXPECT_EQ(filer.list({"."}, &records, plain, nullptr, 0), 0);
  EXPECT_GT(filer.handler->itemsReached, 4);
}

TEST_F(FilerRequest, WhatTheHandlerDoesNotWantAnyMoreIsNotDone) {
  trees::make(dir.path(), "d/a/1 d/b/1 d/c/1 to/");
  const std::string before = trees::snapshot(dir.path());
  const HOQFilerOptions recursive(0x2);
  using Ask = std::function<int(ScriptedFiler&)>;
  const std::pair<const char*, Ask> cases[] = {
      {"remove", [&](ScriptedFiler& filer) { return filer.remove({"d"}, recursive); }},
      {"chmod", [&](ScriptedFiler& filer) { return filer.chmod({"d"}, 0700, recursive); }},
      {"copy", [&](ScriptedFiler& filer) { return filer.copy({"d"}, "to", recursive); }},
      {"move", [&](ScriptedFiler& filer) { return filer.move({"d"}, "to", recursive); }},
  };
  for (const auto& [name, ask] : cases) {
    SCOPED_TRACE(name);
    ScriptedFiler filer(dir.path());
    filer.handler->mostItems = 0;
    EXPECT_EQ(ask(filer), kPathFailed);
    EXPECT_EQ(trees::snapshot(dir.path()), before);
  }
}

TEST_F(FilerRequest, TwoThreadsWithTwoFilersDoNotMeet) {
  constexpr int kTurns = 30;
  const auto work = [](const std::string& place, int& failures) {
    const Rights own(true, true);
    ScriptedFiler filer(place);
    for (int turn = 0; turn < kTurns; ++turn) {
      if (filer.mkdir({"a/b/c", "a/d"}, nullptr, HOQFilerOptions(0x2)) != 0) ++failures;
      HOQFiler::FileTypes records;
      if (filer.list({"a"}, &records, HOQFilerOptions(0x12), nullptr, 0x7FF) != 0) ++failures;
      if (records.size() != 6) ++failures;
      if (filer.remove({"missing"}, HOQFilerOptions(0)) != 2056) ++failures;
      if (filer.remove({"a"}, HOQFilerOptions(0x2)) != 0) ++failures;
    }
    if (filer.handler->errors.size() != kTurns) ++failures;
    for (const auto& error : filer.handler->errors)
      if (error.message.find(place) == std::string::npos) ++failures;
  };
  trees::make(dir.path(), "one/ two/");
  int first = 0;
  int second = 0;
  std::thread one([&] { work(dir / "one", first); });
  std::thread two([&] { work(dir / "two", second); });
  one.join();
  two.join();
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 0);
  EXPECT_EQ(trees::snapshot(dir.path()), "one/ two/");
}

}  // namespace
}  // namespace HOQ::test
