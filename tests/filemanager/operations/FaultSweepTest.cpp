// Call n fails, for n = 1, 2, until a run is clean.
#include <cerrno>
#include <functional>
#include <string>

#include "filemanager/operations/OperationsFixture.h"

namespace HOQ::test {
namespace {

constexpr int kMostCalls = 500;
constexpr char kTree[] = "d/a d/e/f=22 d/l->a d/void/ bystander=1";

class FaultSweep : public OperationsFixture {
 protected:
  /// Runs `operation` on a fresh tree each turn, with one call failing; `check` sees what became
  /// of it and which call it was.
  void sweep(const char* tree, const std::function<Outcome()>& operation,
             const std::function<void(const FaultPlan&, const Outcome&)>& check) {
    for (int n = 1;; ++n) {
      ASSERT_LE(n, kMostCalls);  // the sweep ends
      trees::make(dir.path(), tree);
      FaultPlan plan(n, EIO);
      failBy(plan);
      const Outcome outcome = operation();
      if (!plan.struck()) {
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.messages, Texts{});
        EXPECT_GT(n, 5);  // it asked the system for something
        return;
      }
      EXPECT_TRUE(left().find("bystander=1") != std::string::npos) << plan;
      check(plan, outcome);
      removeContents(dir.path());
    }
  }
};

/// A failed reading of a directory passes for its end: kept.
bool isSilent(const FaultPlan& plan) { return plan.call() == Call::Readdir; }

TEST_F(FaultSweep, RemoveTellsOfEachFailureAndStops) {
  sweep(
      kTree, [this] { return remove({"d"}, kRecursive); },
      [this](const FaultPlan& plan, const Outcome& outcome) {
        // An entry that was not read is still there when its directory is to go, unless none was
        // left to read.
        if (isSilent(plan)) {
          EXPECT_EQ(outcome.code == 0, left() == "bystander=1") << plan;
          return;
        }
        EXPECT_EQ(outcome.code, 2056) << plan;
        ASSERT_EQ(outcome.messages.size(), 1U) << plan;
        EXPECT_NE(outcome.messages[0].find("Input/output error[5]"), std::string::npos) << plan;
        EXPECT_NE(outcome.messages[0].find(plan.path()), std::string::npos) << plan;
        EXPECT_NE(left(), "bystander=1") << plan;
      });
}

TEST_F(FaultSweep, MkdirTellsOfEachFailureAndStops) {
  sweep(
      "bystander=1", [this] { return mkdir({"a/b/c"}, kRecursive); },
      [](const FaultPlan& plan, const Outcome& outcome) {
        // What cannot be examined is taken for missing: the item's own examination, and a parent
        // that is then found to be there by making it.
        if (plan.call() == Call::Stat && outcome.code == 0) {
          EXPECT_EQ(outcome.messages, Texts{}) << plan;
          return;
        }
        EXPECT_EQ(outcome.code, 2056) << plan;
        EXPECT_EQ(outcome.messages.size(), 1U) << plan;
      });
}

TEST_F(FaultSweep, ListNeverDescribesAnEntryFromAnothersExamination) {
  sweep(
      kTree, [this] { return list({"d"}, kRecursive | kSums); },
      [&](const FaultPlan& plan, const Outcome& outcome) {
        const bool hidden = isSilent(plan) || plan.call() == Call::Readlink ||
                            plan.call() == Call::OwnerNames || plan.call() == Call::Getown;
        EXPECT_EQ(outcome.messages.size(), hidden ? 0U : 1U) << plan;
        for (const auto& record : outcome.records) {
          if (record->name == "a") {
            EXPECT_EQ(record->type, 8U) << plan;
          }
          if (record->name == "e" || record->name == "void") {
            EXPECT_EQ(record->type, 4U) << plan;
          }
          if (record->name == "l") {
            EXPECT_EQ(record->type, 10U) << plan;
          }
        }
        if (plan.call() == Call::Stat && plan.path() != dir / "d") {
          EXPECT_EQ(outcome.code, 0) << plan;  // told, and the listing goes on
        }
        if (plan.call() == Call::Opendir || plan.call() == Call::Fill) {
          EXPECT_EQ(outcome.code, 2056) << plan;
        }
      });
}

}  // namespace
}  // namespace HOQ::test
