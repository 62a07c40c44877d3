// Copies to a node as requests: rights, codes, modes, and failures wherever they strike.
#include <hoq/HOQNodeIdentity.h>
#include <hoq/HOQResultCodes.h>

#include "filemanager/operations/RemoteCopyFixture.h"
#include "haul/HOQFileDeserializerParams.h"
#include "haul/HOQFileSerializerParams.h"
#include "operations/RemoteCopyMoveOperate.h"
#include "support/ResourceCount.h"

namespace HOQ::test {
namespace {

class RemoteCopy : public RemoteCopyFixture {};

TEST_F(RemoteCopy, EachItemKeepsItsMode) {
  trees::make(dir.path(), "d/%750 d/f%640=1 d/g%600=2 d/x%711=3 t/");
  for (const char* address : {"local:", kOther}) {
    EXPECT_EQ(copyTo(address, {"d"}, "t", kRecursive).messages, Texts{});
    EXPECT_EQ(modeOf("t/d"), 0750U);
    EXPECT_EQ(modeOf("t/d/f"), 0640U);
    EXPECT_EQ(modeOf("t/d/g"), 0600U);
    EXPECT_EQ(modeOf("t/d/x"), 0711U);
    removeContents(dir / "t");
  }
}

TEST_F(RemoteCopy, GivenAttributesAreForAllLessTheUmask) {
  trees::make(dir.path(), "d/%750 d/f%640=1 t/");
  const HOQSecurityAttributes attributes(0777);
  for (const char* address : {"local:", kOther}) {
    EXPECT_EQ(copyTo(address, {"d"}, "t", kRecursive, &attributes).messages, Texts{});
    EXPECT_EQ(modeOf("t/d"), 0755U);
    EXPECT_EQ(modeOf("t/d/f"), 0755U);
    removeContents(dir / "t");
  }
}

TEST_F(RemoteCopy, TheWorkingDirectorysContentsAreMerged) {
  trees::make(dir.path(), "f=1 e/g=2 t/h=3");
  ScriptedFiler filer(dir / "e");
  EXPECT_EQ(filer.copy({"."}, HOQConnectionInfo{kOther}, "../t", kRecursive, nullptr), 0);
  EXPECT_EQ(filer.handler->messages(), Texts{});
  EXPECT_EQ(left(), "e/g=2 f=1 t/g=2 t/h=3");
}

TEST_F(RemoteCopy, ProgressIsToldOfEachItemBeforeItIsSent) {
  trees::make(dir.path(), "d/f=1 l->x t/");
  EXPECT_EQ(copyTo(kOther, {"d", "l"}, "t", kRecursive).progress, (Texts{dir / "d", dir / "d/f"}));
}

TEST_F(RemoteCopy, OddNamesArrive) {
  const Texts names = trees::everyByteNames(dir.path());
  ASSERT_EQ(::mkdir((elsewhere / "t").c_str(), 0755), 0);
  for (const char* address : {"local:", kOther}) {
    EXPECT_EQ(copyTo(address, names, elsewhere / "t").messages, Texts{});
    EXPECT_EQ(trees::snapshot(elsewhere / "t"), left());
    removeContents(elsewhere / "t");
  }
}

TEST_F(RemoteCopy, ANodeThatCannotBeReachedIsToldWithItsCode) {
  trees::make(dir.path(), "f=1 g=2");
  const Said lost = copyTo("nobody:1", {"f", "g"}, "t");
  EXPECT_EQ(lost.code, 0);
  EXPECT_EQ(lost.codes, std::vector<int>{kNodeUnreachable});
  EXPECT_EQ(lost.messages, placed(Texts{"\"@/f\", nobody:1 cannot be reached"}));
  node.connectCode = kNodeRefused;
  EXPECT_EQ(copyTo(kOther, {"f", "g"}, "t").codes, std::vector<int>{kNodeRefused});
  node.connectCode = 0;
  node.client.reset(new HOQClientContext("reader", true, false));
  EXPECT_EQ(copyTo(kOther, {"f", "g"}, "t").codes, std::vector<int>{kNodeRefused});
  EXPECT_EQ(left(), "f=1 g=2");
}

TEST_F(RemoteCopy, OneConnectionServesARequest) {
  trees::make(dir.path(), "d/a=1 d/b=2 d/e/c=3 t/");
  EXPECT_EQ(copyTo(kOther, {"d"}, "t", kRecursive).messages, Texts{});
  const std::vector<std::string> calls = node.calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "connect"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "open hoqfile_deserializer"), 5);
}

// However a request ends, the next one may begin.
TEST_F(RemoteCopy, ARequestThatCannotBeginIsOver) {
  trees::make(dir.path(), "f=1");
  const auto twice = [](ScriptedFiler& filer) {
    const HOQConnectionInfo here{"local:"};
    const int code = filer.copy({"f"}, here, "t", 0, nullptr);
    EXPECT_EQ(filer.copy({"f"}, here, "t", 0, nullptr), code);
    return code;
  };
  ScriptedFiler withoutRoutines(dir.path(), [](const std::string&) { return nullptr; });
  EXPECT_EQ(twice(withoutRoutines), 2002);
  EXPECT_EQ(withoutRoutines.handler->messages(), Texts{});

  ScriptedFiler nowhere("/../x");
  EXPECT_EQ(twice(nowhere), 2002);
  EXPECT_EQ(nowhere.handler->messages(), Texts(2, "Invalid working directory \"/../x\""));
  {
    const Rights reading(true, false);
    ScriptedFiler refused(dir.path());
    EXPECT_EQ(twice(refused), 414);
    EXPECT_TRUE(refused.handler->events.empty());
    EXPECT_EQ(refused.routinesAsked, 0);
  }
  EXPECT_EQ(left(), "f=1");
}

/// Without the factories of transfers.
TEST(RemoteCopyAlone, IsNotProvidedWithoutTransfers) {
  const TempDir dir;
  const Rights rights(true, true);
  ScriptedFiler filer(dir.path());
  for (int n = 0; n < 2; ++n)
    EXPECT_EQ(filer.copy({"f"}, HOQConnectionInfo{"local:"}, "t", 0, nullptr), 424);
  EXPECT_EQ(filer.routinesAsked, 0);
}

TEST_F(RemoteCopy, ADirectoryIsNotCopiedIntoItselfWithoutEnd) {
  for (const char* address : {"local:", kOther, kPrompt, kLate})
    for (const bool isThere : {false, true}) {
      SCOPED_TRACE(address);
      empty();
      trees::make(dir.path(), isThere ? "s/s/" : "s/");
      const Said outcome = copyTo(address, {"s"}, "s", kRecursive);
      const std::string met = isThere ? "@/s/s/s" : "@/s/s";
      EXPECT_EQ(outcome.messages,
                placed(Texts{"\"" + met + "\", Cannot copy directory into itself"}));
      EXPECT_EQ(outcome.codes, std::vector<int>{-1});
      EXPECT_EQ(left(), isThere ? "s/s/s/" : "s/s/");
    }
}

TEST_F(RemoteCopy, ADirectoryIsMergedIntoItselfWithoutHarm) {
  trees::make(dir.path(), "s/d/ s/e/");
  for (const char* address : {"local:", kOther, kPrompt, kLate}) {
    EXPECT_EQ(copyTo(address, {"s"}, ".", kRecursive).messages, Texts{});
    EXPECT_EQ(left(), "s/d/ s/e/");
  }
}

// The receiving end begins by removing what is there, also where it is in another process.
TEST_F(RemoteCopy, AFileIsNotPutOverItself) {
  trees::make(dir.path(), "f=1 h=>f d/g=2 l->d");
  const Texts onto = placed(Texts{"\"@/f\", Cannot copy file onto itself"});
  transport.add("here:1").eid = nodeEID();
  for (const char* address : {"local:", "here:1", kOther}) {
    SCOPED_TRACE(address);
    EXPECT_EQ(copyTo(address, {"f"}, "f", kOverwrite).messages, onto);
    EXPECT_EQ(copyTo(address, {"f"}, ".", kOverwrite).messages, onto);
    EXPECT_EQ(copyTo(address, {"f"}, "h", kOverwrite).messages, onto);
    EXPECT_EQ(copyTo(address, {"d"}, ".", kOverwrite | kRecursive).messages,
              placed(Texts{"\"@/d/g\", Cannot copy file onto itself"}));
    EXPECT_EQ(copyTo(address, {"d/g"}, "l/g", kOverwrite).messages,
              placed(Texts{"\"@/d/g\", Cannot copy file onto itself"}));
    EXPECT_EQ(copyTo(address, {"f"}, "f").messages,
              placed(Texts{"\"@/f\", Can't overwrite \"@/f\""}));
  }
  EXPECT_EQ(left(), "d/g=2 f=1 h=1 l->d");
}

// A node that shares the file system but not the kernel cannot tell; then at least nobody takes it
// for a copy.
TEST_F(RemoteCopy, AFileThatIsReplacedByItsOwnCopyIsNotReportedAsSent) {
  trees::make(dir.path(), "f=1");
  const auto control = HOQFunctionality<HOQHaulControlFactory>::kit().getFileControlLocal(
      HOQAccessProviderPtr(), "");
  const auto source = boost::make_shared<HOQFileSerializerParams>(dir / "f", HOQFilerOptions(0));
  const auto target = boost::make_shared<HOQFileDeserializerParams>(
      dir.path(), "f", HOQFilerOptions(kOverwrite), 0, "f", true);
  EXPECT_NE(control->start(HOQConnectionInfo(), source, HOQConnectionInfo{kOther}, target), 0);
  EXPECT_EQ(getErrorMessage(), "The file to send was replaced");
}

TEST_F(RemoteCopy, EveryCallOfTheSourceMayFail) {
  constexpr char kTree[] = "s/a=1 s/e/f=22 s/v/";
  for (int n = 1;; ++n) {
    ASSERT_LE(n, 200);  // the sweep ends
    empty();
    trees::make(dir.path(), kTree);
    trees::make(elsewhere.path(), "t/");
    FaultPlan plan(n, EIO);
    failBy(plan);
    const Said outcome = copyTo(kOther, {"s"}, elsewhere / "t", kRecursive);
    EXPECT_EQ(outcome.code, 0) << plan;
    EXPECT_EQ(left(), asShown(kTree)) << plan;
    if (!plan.struck()) {
      EXPECT_GT(n, 10);
      EXPECT_EQ(outcome.messages, Texts{});
      EXPECT_EQ(leftElsewhere(), "t/s/a=1 t/s/e/f=22 t/s/v/");
      break;
    }
    // A failed reading of a directory passes for its end, and a place of the target's that cannot
    // be examined here for missing: both kept silent.
    const bool ofSource = plan.path().compare(0, dir.path().size(), dir.path()) == 0;
    const bool silent = plan.call() == Call::Readdir || !ofSource;
    EXPECT_EQ(outcome.messages.size(), silent ? 0U : 1U) << plan;
    if (!silent) {
      EXPECT_NE(outcome.messages.at(0).find("Input/output error[5]"), std::string::npos) << plan;
    }
  }
}

TEST_F(RemoteCopy, TheWayToTheNodeMayBeCutAtEveryCall) {
  constexpr char kTree[] = "s/a=1 s/e/f=22 s/v/";
  for (const bool late : {false, true}) {
    node.createsLate = late;
    for (int n = 1;; ++n) {
      ASSERT_LE(n, 200);  // the sweep ends
      SCOPED_TRACE(n);
      empty();
      trees::make(dir.path(), kTree);
      trees::make(elsewhere.path(), "t/");
      std::string struck;
      int calls = 0;
      node.cuts = [&](const std::string& call) {
        if (++calls == n) struck = call;
        return !struck.empty();
      };
      const ResourceCount before;
      const Said outcome = copyTo(kOther, {"s"}, elsewhere / "t", kRecursive);
      EXPECT_EQ(before.difference(), "") << struck;
      EXPECT_EQ(node.sessions(), 0) << struck;
      EXPECT_EQ(left(), asShown(kTree)) << struck;
      if (struck.empty()) {
        EXPECT_EQ(outcome.messages, Texts{});
        EXPECT_EQ(leftElsewhere(), "t/s/a=1 t/s/e/f=22 t/s/v/");
        break;
      }
      EXPECT_EQ(outcome.messages.size(), 1U) << struck;
      for (const std::string& item : trees::pathsBelow(elsewhere.path())) {  // whole, or not there
        if (item == "t/s/a") {
          EXPECT_EQ(infoOf(elsewhere / item).st_size, 1) << struck;
        }
        if (item == "t/s/e/f") {
          EXPECT_EQ(infoOf(elsewhere / item).st_size, 2) << struck;
        }
      }
    }
  }
}

}  // namespace
}  // namespace HOQ::test
