// Where copies and moves put things, and what they say meanwhile.
#include <hoq/HOQErrorMessage.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "filemanager/operations/ChangesFixture.h"
#include "operations/CopyMoveOperate.h"
#include "routine/HOQFileRoutineLin.h"
#include "support/LoggingRoutine.h"
#include "support/MemberProbe.h"
#include "support/SlotProbe.h"

namespace HOQ::test {
namespace {

class CopyMove : public ChangesFixture {};

TEST_F(CopyMove, ErrorRecordsCarryTheCodesOfTheSteps) {
  trees::make(dir.path(), "f=1 g=2 h");
  EXPECT_EQ(copy({"f"}, "g").codes, std::vector<int>{2055});
  EXPECT_EQ(copy({"f", "h"}, "g").codes, std::vector<int>{-1});
  EXPECT_EQ(copy({"f"}, "no/g").codes, std::vector<int>{-1});
}

TEST_F(CopyMove, RequestsThatCannotBeResolvedAnswer2002) {
  trees::make(dir.path(), "f=1");
  EXPECT_EQ(copy({"f"}, "/../g").messages, Texts{"Wrong path \"/../g\""});
  EXPECT_EQ(copy({"f"}, "/../g").code, 2002);
  EXPECT_EQ(move({"f"}, "/../g").code, 2002);
  ScriptedFiler astray("/..");
  EXPECT_EQ(astray.copy({"f"}, "g", HOQFilerOptions(0)), 2002);
  EXPECT_EQ(astray.handler->messages(), Texts{"Invalid working directory \"/..\""});
  EXPECT_EQ(left(), "f=1");
}

TEST_F(CopyMove, RequestsWithoutEitherRoutineAnswer2002) {
  trees::make(dir.path(), "f=1");
  for (const std::string& missing : {dir.path(), std::string("g")}) {
    maker = [&missing](const std::string& directory) {
      return boost::shared_ptr<HOQFileRoutine>(
          directory == missing ? nullptr : new HOQFileRoutineLin(directory));
    };
    EXPECT_EQ(copy({"f"}, "g").code, 2002) << missing;
    EXPECT_EQ(move({"f"}, "g").code, 2002) << missing;
  }
  EXPECT_EQ(left(), "f=1");
}

TEST_F(CopyMove, RequestsWithoutTheRightAnswer414) {
  trees::make(dir.path(), "f=1");
  const Rights reading(true, false);
  for (const Operation operation : {kCopy, kMove}) {
    const Said outcome = carry(operation, {"f"}, "g");
    EXPECT_EQ(outcome.code, 414);
    EXPECT_EQ(outcome.messages, Texts{});
    EXPECT_EQ(outcome.progress, Texts{});
  }
  EXPECT_EQ(left(), "f=1");
}

TEST_F(CopyMove, TheTargetsRoutineIsMadeOfTheClientsText) {
  trees::make(dir.path(), "f=1");
  ScriptedFiler filer(dir.path());
  EXPECT_EQ(filer.copy({"f"}, "./g", HOQFilerOptions(0)), 0);
  EXPECT_EQ(filer.askedFor, (Texts{dir.path(), "./g"}));
}

/// What a handler sees of the target when progress comes.
class WatchingHandler : public CollectingHandler {
 public:
  explicit WatchingHandler(const ChangesFixture&, std::string place) : place_(std::move(place)) {}
  void progress(const HOQRequestProgressData& record) override {
    CollectingHandler::progress(record);
    seen.push_back(trees::snapshot(place_));
  }
  Texts seen;

 private:
  const std::string place_;
};

TEST_F(CopyMove, ProgressComesBeforeAnItemIsTouched) {
  trees::make(dir.path(), "s/d/f=1");
  trees::make(elsewhere.path(), "t/s/d/f=2");
  const boost::intrusive_ptr<WatchingHandler> watching(
      new WatchingHandler(*this, elsewhere.path()));
  ScriptedFiler filer(dir.path());
  filer.sync(watching, "");
  EXPECT_EQ(filer.copy({"s"}, elsewhere / "t", HOQFilerOptions(kRecursive | kOverwrite)), 0);
  EXPECT_EQ(watching->seen, (Texts{"t/s/d/f=2", "t/s/d/f=2", "t/s/d/f=2"}));
  EXPECT_EQ(leftElsewhere(), "t/s/d/f=1");
  EXPECT_EQ(filer.copy({"s"}, elsewhere / "new", HOQFilerOptions(kRecursive)), 0);
  EXPECT_EQ(Texts(watching->seen.begin() + 3, watching->seen.end()),
            (Texts{"t/s/d/f=1", "new/ t/s/d/f=1", "new/d/ t/s/d/f=1"}));
}

TEST_F(CopyMove, ARenamedDirectoryComesWithoutProgress) {
  trees::make(dir.path(), "s/d/f=1 t/");
  EXPECT_EQ(move({"s"}, "t", kRecursive).progress, Texts{});
  EXPECT_EQ(left(), "t/s/d/f=1");
}

// Without a handler nothing is told of progress, and errors become the thread's error text.
TEST_F(CopyMove, WorksWithoutAHandler) {
  trees::make(dir.path(), "s/f=1");
  HOQFileRoutineLin source(dir.path());
  HOQFileRoutineLin target(dir / "t");
  const HOQFilerOptions options(kRecursive);
  CopyMoveOperate operation(source, target, options);
  EXPECT_EQ(operatePaths(operation, {"s"}, dir.path()), 0);
  EXPECT_EQ(left(), "s/f=1 t/f=1");
  clearErrorMessage();
  target.path = dir / "t/f";
  CopyMoveOperate again(source, target, options);
  EXPECT_EQ(operatePaths(again, {"s/f"}, dir.path()), 2056);
  EXPECT_EQ(getErrorMessage(), placed("Can't overwrite \"@/t/f\" with \"@/s/f\" file exists"));
}

// errno of the past is no answer of mkdir or open.
TEST_F(CopyMove, AnErrorNumberOfThePastChangesNothing) {
  trees::make(dir.path(), "s/d/f%600=1");
  interfere([](Call, const std::string&) { errno = EEXIST; });
  errno = EEXIST;
  const Said outcome = copy({"s"}, "t", kRecursive);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.messages, Texts{});
  EXPECT_EQ(left(), "s/d/f=1 t/d/f=1");
  EXPECT_EQ(modeOf("t/d/f"), 0600U);
}

// A move within a file system is a rename where the target was examined, so that nothing is read;
// to a new name it is a copy and the removal of the source.
TEST_F(CopyMove, AFileIsRenamedIntoADirectoryAndCopiedToANewName) {
  trees::make(dir.path(), "f=1 t/");
  CallLog log;
  maker = [&log](const std::string& directory) {
    return boost::shared_ptr<HOQFileRoutine>(new LoggingRoutine(directory, log));
  };
  const ino_t before = infoOf(dir / "f").st_ino;
  EXPECT_EQ(move({"f"}, "t").code, 0);
  EXPECT_EQ(log.count(Call::Open), 0);
  EXPECT_EQ(infoOf(dir / "t/f").st_ino, before);
  EXPECT_EQ(move({"t/f"}, dir / "g").code, 0);
  EXPECT_EQ(log.count(Call::Open), 2);
  EXPECT_EQ(log.count(Call::Remove, dir / "t/f"), 1);
  EXPECT_EQ(left(), "g=1 t/");
}

TEST_F(CopyMove, ADirectoryIsRenamedAsAWhole) {
  trees::make(dir.path(), "s/d/f=1");
  const ino_t before = infoOf(dir / "s").st_ino;
  EXPECT_EQ(move({"s"}, "t").code, 0);
  EXPECT_EQ(infoOf(dir / "t").st_ino, before);
  EXPECT_EQ(left(), "t/d/f=1");
}

TEST(CopyMoveLayout, OperationsStandInTheirSlots) {
  int slot = 2;  // the destructor takes the first two entries
  EXPECT_EQ(slotOf(&CopyMoveOperate::operate), slot++);
  EXPECT_EQ(slotOf(&CopyMoveOperate::beforeDir), slot++);
  EXPECT_EQ(slotOf(&CopyMoveOperate::afterDir), slot++);
  EXPECT_EQ(slotOf(&CopyMoveOperate::filtrate), slot++);
}

TEST(CopyMoveLayout, FieldsStandInOrder) {
  HOQFileRoutineLin source("/");
  HOQFileRoutineLin target("/");
  const HOQFilerOptions options(0);
  const CopyMoveOperate operation(source, target, options);
  const std::size_t move = offsetIn(operation, operation.moveItems);
  EXPECT_GT(move, offsetIn(operation, operation.path));
  const std::size_t reference = (move + alignof(void*)) / alignof(void*) * alignof(void*);
  const HOQFileRoutine* held = nullptr;
  std::memcpy(&held, reinterpret_cast<const char*>(&operation) + reference, sizeof held);
  EXPECT_EQ(held, &target);
  const std::size_t length = reference + sizeof held;
  EXPECT_EQ(offsetIn(operation, operation.targetLength), length);
  EXPECT_EQ(offsetIn(operation, operation.depth), length + sizeof(int));
  EXPECT_EQ(offsetIn(operation, operation.linkDepth), length + 2 * sizeof(int));
  EXPECT_EQ(offsetIn(operation, operation.targetIsDir), length + 3 * sizeof(int));
}

TEST(CopyMoveLayout, AFreshOperationCopiesAndHasExaminedItsTarget) {
  HOQFileRoutineLin source("/");
  HOQFileRoutineLin there("/");
  HOQFileRoutineLin missing("/proc/none");
  const HOQFilerOptions options(0);
  const CopyMoveOperate operation(source, there, options);
  EXPECT_FALSE(operation.moveItems);
  EXPECT_EQ(operation.targetLength, -1);
  EXPECT_EQ(operation.depth, 0);
  EXPECT_EQ(operation.linkDepth, -1);
  EXPECT_TRUE(operation.targetIsDir);
  EXPECT_TRUE(operation.path.reportStat);
  EXPECT_TRUE(there.isDir());
  EXPECT_FALSE(CopyMoveOperate(source, missing, options).targetIsDir);
}

}  // namespace
}  // namespace HOQ::test
