#include <gtest/gtest.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQFunctional.h>
#include <hoq/HOQRequestModificatorLocal.h>

#include <typeinfo>

#include "support/CollectingHandler.h"

namespace HOQ {
namespace {

using test::CollectingHandler;
using test::CollectingHandlerPtr;

class Connection : public HOQConnectionPrototype {};

// A request whose commands end as the test says.
class Request : public HOQRequestModificatorLocal<HOQFunctional>, public HOQFunctional {
 public:
  Request() : HOQRequestModificatorLocal(HOQAccessProviderPtr()) {}
  int command(int code) {
    beginCommand();
    return endCommand(HOQRequestErrorData(code, ""));
  }
};

CollectingHandlerPtr newHandler() { return CollectingHandlerPtr(new CollectingHandler); }

TEST(RequestModificator, StartsWithAContextThatSaysNothing) {
  const Request request;
  const HOQRequestContextPtr& context = request.getContext();
  ASSERT_TRUE(context);
  EXPECT_FALSE(context->getHandler());
  EXPECT_FALSE(context->connection);
  EXPECT_EQ(context->remoteTarget + context->session, "");
  EXPECT_FALSE(context->remoteForced || context->exclusive);
}

TEST(RequestModificator, KeepsWhatIsSaidUntilItIsSaidAnew) {
  Request request;
  const HOQConnectionPtr connection(new Connection);
  request.remote("node", true);
  request.exclusive();
  request.connection(connection);
  request.session("first");
  request.command(0);
  const HOQRequestContextPtr context = request.getContext();
  EXPECT_EQ(context->remoteTarget, "node");
  EXPECT_TRUE(context->remoteForced && context->exclusive);
  EXPECT_EQ(context->connection, connection);
  EXPECT_EQ(context->session, "first");

  request.remote("", false);
  request.connection(HOQConnectionPtr());
  request.session("");
  EXPECT_EQ(context->remoteTarget + context->session, "");
  EXPECT_FALSE(context->remoteForced || context->connection);
}

TEST(RequestModificator, SyncSetsTheHandlerAndASessionThatIsNotEmpty) {
  Request request;
  const CollectingHandlerPtr handler = newHandler();
  request.sync(handler, "first");
  EXPECT_EQ(request.getContext()->getHandler(), handler);
  EXPECT_EQ(request.getContext()->session, "first");
  request.sync(HOQRequestHandlerPtr(), "");
  EXPECT_FALSE(request.getContext()->getHandler());
  EXPECT_EQ(request.getContext()->session, "first");
}

TEST(RequestModificator, CreatesContextsThatSayWhatTheCurrentOneSays) {
  Request request;
  const CollectingHandlerPtr handler = newHandler();
  request.sync(handler, "session");
  request.remote("node", true);
  request.exclusive();
  const HOQRequestContextPtr made = request.createContext();
  EXPECT_NE(made, request.getContext());
  EXPECT_EQ(made->use_count(), 1u);
  EXPECT_EQ(made->getHandler(), handler);
  EXPECT_EQ(made->session, "session");
  EXPECT_EQ(made->remoteTarget, "node");
  EXPECT_TRUE(made->remoteForced && made->exclusive);
}

TEST(RequestModificator, PutsTheContextBackAtTheEndOfATransaction) {
  Request request;
  const CollectingHandlerPtr outside = newHandler();
  const CollectingHandlerPtr inside = newHandler();
  request.sync(outside, "outside");
  const HOQRequestContextPtr before = request.getContext();

  ASSERT_EQ(request.beginTransaction(), 0);
  EXPECT_NE(request.getContext(), before);
  EXPECT_EQ(request.getContext()->getHandler(), outside);
  request.sync(inside, "inside");
  request.exclusive();
  EXPECT_EQ(request.endTransaction(HOQRequestHandlerPtr()), 0);

  EXPECT_EQ(request.getContext(), before);
  EXPECT_EQ(before->getHandler(), outside);
  EXPECT_EQ(before->session, "outside");
  EXPECT_FALSE(before->exclusive);
}

TEST(RequestModificator, EndsATransactionWithItsFirstFailure) {
  Request request;
  const CollectingHandlerPtr handler = newHandler();
  EXPECT_EQ(request.command(7), 7);  // before it: not its failure
  ASSERT_EQ(request.beginTransaction(), 0);
  request.command(0);
  EXPECT_EQ(request.command(2056), 2056);
  request.command(-1);
  request.command(0);
  EXPECT_TRUE(handler->events.empty());
  EXPECT_EQ(request.endTransaction(handler), 2056);
  ASSERT_EQ(handler->events, std::vector<std::string>{"error"});
  EXPECT_EQ(handler->errors[0].code, 2056);
  EXPECT_NE(handler->errors[0].message, "");

  ASSERT_EQ(request.beginTransaction(), 0);  // another one starts afresh
  EXPECT_EQ(request.endTransaction(handler), 0);
  EXPECT_EQ(handler->events.size(), 1u);
}

TEST(RequestModificator, EndsAFailedTransactionWithoutAHandlerToo) {
  Request request;
  ASSERT_EQ(request.beginTransaction(), 0);
  request.command(-1);
  EXPECT_EQ(request.endTransaction(HOQRequestHandlerPtr()), -1);
}

TEST(RequestModificator, RefusesATransactionWithinATransaction) {
  Request request;
  ASSERT_EQ(request.beginTransaction(), 0);
  const HOQRequestContextPtr inside = request.getContext();
  request.command(5);
  clearErrorMessage();
  EXPECT_EQ(request.beginTransaction(), -1);
  EXPECT_NE(getErrorMessage(), "");
  EXPECT_EQ(request.getContext(), inside);
  EXPECT_EQ(request.endTransaction(HOQRequestHandlerPtr()), 5);
}

TEST(RequestModificator, RefusesToEndATransactionThatWasNotBegun) {
  Request request;
  const CollectingHandlerPtr handler = newHandler();
  clearErrorMessage();
  EXPECT_EQ(request.endTransaction(handler), -1);
  EXPECT_NE(getErrorMessage(), "");
  EXPECT_TRUE(handler->events.empty());
  EXPECT_TRUE(request.getContext());
}

TEST(RequestModificator, IsFoundFromAFunctionalsObject) {
  Request request;
  HOQFunctional& functional = request;
  EXPECT_EQ(&HOQRequestModificator::of(functional), &request);
  HOQFunctional bare;
  EXPECT_THROW(HOQRequestModificator::of(bare), std::bad_cast);
}

}  // namespace
}  // namespace HOQ
