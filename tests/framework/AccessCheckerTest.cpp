#include <gtest/gtest.h>
#include <hoq/HOQAccessChecker.h>

#include <climits>
#include <thread>

namespace HOQ {
namespace {

using ClientPtr = HOQAccessChecker::ClientContextPtr;

ClientPtr client(bool mayRead, bool mayChange) {
  return ClientPtr(new HOQClientContext("client", mayRead, mayChange));
}

bool allowed(const ClientPtr& who, int level) {
  return HOQAccessChecker::accessCheck(who, level) == 0;
}

TEST(AccessChecker, AllowsWhatTheClientsRightsSay) {
  EXPECT_EQ(HOQAccessChecker::kRead, 40);
  EXPECT_EQ(HOQAccessChecker::kChange, 41);
  for (const bool mayRead : {false, true})
    for (const bool mayChange : {false, true}) {
      const ClientPtr who = client(mayRead, mayChange);
      EXPECT_EQ(allowed(who, 40), mayRead);
      EXPECT_EQ(allowed(who, 41), mayChange);
    }
}

TEST(AccessChecker, RefusesLevelsThatItDoesNotKnow) {
  for (const int level : {INT_MIN, -1, 0, 1, 4, 39, 42, 400, INT_MAX})
    EXPECT_FALSE(allowed(client(true, true), level)) << level;
}

TEST(AccessChecker, RefusesWhereThereIsNoClient) {
  EXPECT_FALSE(HOQAccessChecker::getClientContext());
  EXPECT_FALSE(allowed(HOQAccessChecker::getClientContext(), 40));
  EXPECT_FALSE(allowed(ClientPtr(), 41));
}

TEST(AccessChecker, TakesTheInnermostScopesClient) {
  const ClientPtr outer = client(true, false);
  const ClientPtr inner = client(false, true);
  {
    const HOQAccessChecker::Scope first(outer);
    EXPECT_EQ(HOQAccessChecker::getClientContext(), outer);
    {
      const HOQAccessChecker::Scope second(inner);
      EXPECT_EQ(HOQAccessChecker::getClientContext(), inner);
      const HOQAccessChecker::Scope nobody((ClientPtr()));
      EXPECT_FALSE(HOQAccessChecker::getClientContext());
    }
    EXPECT_EQ(HOQAccessChecker::getClientContext(), outer);
  }
  EXPECT_FALSE(HOQAccessChecker::getClientContext());
  EXPECT_EQ(outer->use_count(), 1u);
  EXPECT_EQ(inner->use_count(), 1u);
}

TEST(AccessChecker, KeepsTheClientToItsThread) {
  const ClientPtr mine = client(true, true);
  const ClientPtr others = client(true, false);
  const HOQAccessChecker::Scope scope(mine);
  std::thread([&others] {
    EXPECT_FALSE(HOQAccessChecker::getClientContext());
    const HOQAccessChecker::Scope own(others);
    EXPECT_EQ(HOQAccessChecker::getClientContext(), others);
  }).join();
  EXPECT_EQ(HOQAccessChecker::getClientContext(), mine);
}

TEST(AccessChecker, KeepsTheClientAliveWhileItsScopeIsOpen) {
  const HOQAccessChecker::Scope scope(client(true, false));
  EXPECT_EQ(HOQAccessChecker::getClientContext()->name(), "client");
  EXPECT_TRUE(allowed(HOQAccessChecker::getClientContext(), 40));
}

}  // namespace
}  // namespace HOQ
