#include "spawner/WorkerPlan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>

namespace HOQ::agent {
namespace {

using testing::ElementsAre;

constexpr std::uint32_t kNobody = 65534;

/// No account has it: the databases of a system do not reach that far.
constexpr char kFarUser[] = "uid:4294967290";

Configuration configurationOf(const ClientEntry& entry) {
  Configuration configuration;
  configuration.user = "games";
  configuration.clients = {entry};
  return configuration;
}

ClientEntry entryOf(const std::string& name, const std::string& runAs) {
  ClientEntry entry;
  entry.name = name;
  entry.mayRead = entry.mayChange = true;
  entry.runAs = runAs;
  entry.roots = {"/srv"};
  return entry;
}

PlanOutcome plan(const std::string& name, const std::string& runAs) {
  return planFor(configurationOf(entryOf(name, runAs)), name, true);
}

TEST(WorkerPlanTest, AWorkerIsTheUserOfItsEntryWithItsPrimaryGroupFirst) {
  const passwd* account = ::getpwnam("daemon");
  if (!account) GTEST_SKIP() << "there is no user \"daemon\"";
  const uid_t uid = account->pw_uid;
  const gid_t gid = account->pw_gid;
  const PlanOutcome outcome = plan("admin", "daemon");
  ASSERT_EQ(outcome.text, "");
  EXPECT_EQ(outcome.plan.identity->uid, uid);
  EXPECT_EQ(outcome.plan.identity->gids.front(), gid);
  EXPECT_TRUE(outcome.plan.mayRead && outcome.plan.mayChange);
  EXPECT_THAT(outcome.plan.roots, ElementsAre("/srv"));
}

TEST(WorkerPlanTest, AUserThatIsGoneMakesAWorkerOfNobodysWithoutRights) {
  const PlanOutcome outcome = plan("admin", "no-such-name-anywhere");
  ASSERT_EQ(outcome.text, "");
  EXPECT_EQ(outcome.plan.trouble, "there is no user \"no-such-name-anywhere\"");
  EXPECT_NE(outcome.plan.identity->uid, 0u);
  EXPECT_FALSE(outcome.plan.mayRead || outcome.plan.mayChange);
}

TEST(WorkerPlanTest, APeerIsItsUserWithOrWithoutAnAccount) {
  EXPECT_EQ(plan("uid:0", "").plan.identity->uid, 0u);
  const PlanOutcome outcome = plan(kFarUser, "");
  EXPECT_EQ(outcome.plan.identity->uid, 4294967290u);
  EXPECT_THAT(outcome.plan.identity->gids, ElementsAre(kNobody)) << "no group of anybody's";
}

TEST(WorkerPlanTest, WhoIsUnknownIsNobody) {
  const PlanOutcome outcome = planFor(configurationOf(entryOf("admin", "root")), "", true);
  ASSERT_EQ(outcome.text, "");
  const passwd* nobody = ::getpwnam("nobody");
  EXPECT_EQ(outcome.plan.identity->uid, nobody ? nobody->pw_uid : kNobody);
  EXPECT_FALSE(outcome.plan.mayRead || outcome.plan.mayChange);
}

TEST(WorkerPlanTest, NobodyIsTheDaemonsOwnUser) {
  const passwd* account = ::getpwnam("games");
  if (!account) GTEST_SKIP() << "there is no user \"games\"";
  EXPECT_EQ(plan("admin", "games").text, "it would be the daemon's own user");
  EXPECT_EQ(plan("uid:" + std::to_string(account->pw_uid), "").text,
            "it would be the daemon's own user");
}

}  // namespace
}  // namespace HOQ::agent
