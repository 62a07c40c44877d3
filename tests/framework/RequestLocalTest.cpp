#include <gtest/gtest.h>
#include <hoq/HOQFileType.h>
#include <hoq/HOQRequestLocal.h>

#include "support/CollectingHandler.h"

namespace HOQ {
namespace {

using test::CollectingHandler;
using test::CollectingHandlerPtr;

class Provider : public HOQAccessProviderPrototype {
 public:
  HOQEID getEID() const override { return HOQEID(1, 2); }
};

class Request : public HOQRequestLocal {
 public:
  using HOQRequestLocal::beginCommand;
  using HOQRequestLocal::endCommand;
  using HOQRequestLocal::endCommandWithAnswer;
  using HOQRequestLocal::getProgressHandler;
  using HOQRequestLocal::HOQRequestLocal;
};

// Counts the writers that are not deleted.
class CountedWriter : public HOQMsgWriter {
 public:
  CountedWriter() { ++alive; }
  ~CountedWriter() override { --alive; }
  void write(HOQMsgSink& sink) const override { sink.fileTypes(7, {}); }
  inline static int alive = 0;
};

TEST(RequestLocal, HoldsItsAccessProvider) {
  const HOQAccessProviderPtr provider(new Provider);
  {
    const Request request(provider);
    EXPECT_EQ(request.getAccess(), provider);
    EXPECT_EQ(provider->use_count(), 2u);
  }
  EXPECT_EQ(provider->use_count(), 1u);
  EXPECT_FALSE(Request(HOQAccessProviderPtr()).getAccess());
}

TEST(RequestLocal, EndsACommandWithItsCode) {
  Request request{HOQAccessProviderPtr()};
  const CollectingHandlerPtr handler(new CollectingHandler);
  request.sync(handler, "");
  for (const int code : {0, -1, 414, 2056}) {
    request.beginCommand();
    EXPECT_EQ(request.endCommand(HOQRequestErrorData(code, "text")), code);
  }
  EXPECT_TRUE(handler->events.empty());
}

TEST(RequestLocal, HandsTheAnswerAndTheOutcomeToTheHandler) {
  Request request{HOQAccessProviderPtr()};
  const CollectingHandlerPtr handler(new CollectingHandler);
  request.sync(handler, "");
  EXPECT_EQ(request.getProgressHandler(), handler);
  const HOQMsgSink::FileTypes records(2, boost::shared_ptr<HOQFileType>(new HOQFileType));
  request.beginCommand();
  EXPECT_EQ(request.endCommandWithAnswer(newHOQWriterData(&records, 1161),
                                         HOQRequestErrorData(-1, "half of it")),
            -1);
  ASSERT_EQ(handler->answers.size(), 1u);
  EXPECT_EQ(handler->answers[0].tag, 1161);
  EXPECT_EQ(handler->answers[0].code, -1);
  EXPECT_EQ(handler->answers[0].message, "half of it");
  EXPECT_EQ(handler->answers[0].records, records);
}

TEST(RequestLocal, TakesTheAnswerOverWithAndWithoutAHandler) {
  Request request{HOQAccessProviderPtr()};
  for (const bool handled : {false, true}) {
    const CollectingHandlerPtr handler(handled ? new CollectingHandler : nullptr);
    request.sync(handler, "");
    request.beginCommand();
    EXPECT_EQ(request.endCommandWithAnswer(new CountedWriter, HOQRequestErrorData(3, "")), 3);
    EXPECT_EQ(CountedWriter::alive, 0);
    if (handled) {
      EXPECT_EQ(handler->events, std::vector<std::string>{"answer"});
    }
  }
}

TEST(RequestLocal, CountsAnAnsweredCommandToItsTransaction) {
  Request request{HOQAccessProviderPtr()};
  ASSERT_EQ(request.beginTransaction(), 0);
  request.beginCommand();
  (void)request.endCommandWithAnswer(new CountedWriter, HOQRequestErrorData(2056, ""));
  EXPECT_EQ(request.endTransaction(HOQRequestHandlerPtr()), 2056);
}

TEST(RequestLocal, BeginsTheNextCommandAfterEitherEnd) {
  Request request{HOQAccessProviderPtr()};
  request.beginCommand();
  (void)request.endCommand(HOQRequestErrorData(0, ""));
  request.beginCommand();
  (void)request.endCommandWithAnswer(new CountedWriter, HOQRequestErrorData(0, ""));
  request.beginCommand();
  EXPECT_EQ(request.endCommand(HOQRequestErrorData(0, "")), 0);
}

TEST(RequestLocalDeathTest, DoesNotNestCommands) {
  Request request{HOQAccessProviderPtr()};
  request.beginCommand();
  EXPECT_DEATH(request.beginCommand(), "broken condition: !inCommand_");
}

}  // namespace
}  // namespace HOQ
