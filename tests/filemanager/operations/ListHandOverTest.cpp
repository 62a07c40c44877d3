// Lists whose records are handed over one by one, against those that keep them for the answer.
#include <algorithm>
#include <boost/smart_ptr/make_shared.hpp>
#include <cerrno>
#include <sstream>
#include <string>

#include "filemanager/operations/OperationsFixture.h"
#include "support/TakingHandler.h"

namespace HOQ::test {
namespace {

/// Everything that records say, those below them included. The folder above the tree is one that
/// others change as well.
void tell(std::ostream& out, const Records& records, const std::string& indent) {
  for (const auto& record : records) {
    out << indent << record->name << " " << record->type << " " << record->permissions << " "
        << record->user << " " << record->uid << " " << record->group << " " << record->gid << " "
        << record->size << " " << record->linkTarget << " " << record->contentType << " "
        << record->valid;
    if (record->name != "..") out << " " << record->mtime << " " << record->nlink;
    out << "\n";
    tell(out, record->children, indent + "  ");
  }
}

class ListHandOver : public OperationsFixture {
 protected:
  struct Request {
    HOQFiler::Paths paths;
    int options = 0;
    const HOQFiler::Filters* filters = nullptr;
    unsigned fields = kAllFields;
  };

  /// What a client learns: records, errors in their order, the code.
  static std::string told(const Records& records, const Outcome& outcome) {
    std::ostringstream out;
    tell(out, records, "");
    for (const std::string& message : outcome.messages) out << message << "\n";
    out << outcome.code << "\n";
    return out.str();
  }

  std::string kept(const Request& request) {
    const Outcome outcome = list(request.paths, request.options, request.filters, request.fields);
    return told(outcome.records, outcome);
  }

  /// The same list, with `handler` for its records.
  Outcome handedOver(const Request& request, TakingHandler& handler) {
    ScriptedFiler filer(dir.path(), maker);
    HOQRequestModificator::of(filer).sync(HOQRequestHandlerPtr(&handler), "");
    Outcome outcome{0, {}, {}};
    outcome.code = filer.list(request.paths, &outcome.records, HOQFilerOptions(request.options),
                              request.filters, request.fields);
    outcome.messages = handler.messages();
    EXPECT_EQ(outcome.records.size(), 0U) << "kept as well";
    EXPECT_EQ(handler.answers.size(), 1U);
    for (const CollectingHandler::Answer& answer : handler.answers) {
      EXPECT_EQ(answer.code, outcome.code);
      EXPECT_EQ(answer.tag, 1161);
      EXPECT_EQ(answer.records.size(), 0U);
    }
    return outcome;
  }

  template <class Handler = TakingHandler>
  std::string handedOver(const Request& request) {
    const boost::intrusive_ptr<Handler> handler(new Handler);
    const Outcome outcome = handedOver(request, *handler);
    return told(handler->records, outcome);
  }
};

/// Takes what is below the top level by itself, and puts the trees together again.
class PiecesHandler : public TakingHandler {
 public:
  explicit PiecesHandler(std::size_t most = kAll) : left_(most) {}

  bool takesRecordsBelow() const override { return true; }
  bool record(const boost::shared_ptr<HOQFileType>& record) override {
    return recordBelow(record, 0);
  }
  bool recordBelow(const boost::shared_ptr<HOQFileType>& record, std::size_t level) override {
    EXPECT_EQ(record->children.size(), 0U) << record->name;
    EXPECT_LE(waiting_.size(), level + 2) << "something below was left over at " << record->name;
    ++taken;
    if (waiting_.size() <= level) waiting_.resize(level + 1);
    const auto own = boost::make_shared<HOQFileType>(*record);
    if (waiting_.size() == level + 2) {
      own->children = std::move(waiting_.back());
      waiting_.pop_back();
    }
    waiting_[level].push_back(own);
    records = waiting_.front();
    return --left_ != 0;
  }

  std::size_t taken = 0;

 private:
  std::size_t left_;
  std::vector<Records> waiting_;  // by their level
};

constexpr char kTree[] =
    "top=1 d/one=22 d/sub/two=333 d/sub/deep/x=4444 d/empty/ e/ l->d dangling->nowhere p| "
    "d2/sub/y=55555 d2/zz=1";

TEST_F(ListHandOver, EqualsTheKeptAnswerInRecordsOrderAndCode) {
  trees::make(dir.path(), kTree);
  HOQFileFilter regular;
  regular.valid = HOQFileFilter::kType;
  regular.type = HOQFileType::kRegular;
  const HOQFiler::Filters filters = {regular};
  const HOQFiler::Filters none;
  const HOQFiler::Paths pathLists[] = {{"."},
                                       {"d"},
                                       {"e"},
                                       {"d", "d2", "e"},
                                       {},
                                       {"missing"},
                                       {"d", "no"},
                                       {"no", "d"},
                                       {"top"},
                                       {"/../above"},
                                       {"*"},
                                       {"*/*", "d*"},
                                       {"d/../d2"},
                                       {"l"},
                                       {"*/sub", "nothing*"}};
  const int optionLists[] = {0,
                             kRecursive,
                             kSums,
                             kRecursive | kSums,
                             kPatterns,
                             kPatterns | kRecursive,
                             kPatterns | kSums,
                             kPatterns | kSums | kRecursive,
                             kFollow,
                             kOneFileSystem | kRecursive};
  for (const HOQFiler::Paths& paths : pathLists)
    for (const int options : optionLists)
      for (const HOQFiler::Filters* wanted :
           {static_cast<const HOQFiler::Filters*>(nullptr), &none, &filters}) {
        const Request request{paths, options, wanted};
        const std::string expected = kept(request);
        EXPECT_EQ(handedOver<PiecesHandler>(request), expected) << testing::PrintToString(paths);
        EXPECT_EQ(handedOver(request), expected)
            << testing::PrintToString(paths) << " with " << options
            << (wanted == nullptr ? ""
                : wanted->empty() ? ", no filters"
                                  : ", filtered");
      }
}

TEST_F(ListHandOver, EqualsItWhicheverCallFails) {
  trees::make(dir.path(), kTree);
  for (const int options : {0, kRecursive | kSums, kSums, kPatterns | kSums}) {
    const Request request{{options & kPatterns ? "*" : ".", "d"}, options};
    for (int n = 1;; ++n) {
      ASSERT_LE(n, 500);
      FaultPlan first(n, EACCES);
      failBy(first);
      const std::string expected = kept(request);
      FaultPlan second(n, EACCES);
      failBy(second);
      EXPECT_EQ(handedOver(request), expected) << "with " << options << ", " << second;
      FaultPlan third(n, EACCES);
      failBy(third);
      EXPECT_EQ(handedOver<PiecesHandler>(request), expected)
          << "with " << options << ", " << third;
      EXPECT_EQ(second.struck(), first.struck());
      if (!first.struck()) break;
    }
  }
}

/// Tells how many records had been handed over when an item was reached.
class WatchingHandler : public TakingHandler {
 public:
  bool itemReached() override {
    atItem.push_back(records.size());
    return CollectingHandler::itemReached();
  }
  std::vector<std::size_t> atItem;
};

TEST_F(ListHandOver, HandsARecordOverBeforeTheOneAfterNextIsReached) {
  trees::make(dir.path(), "a b c d e f");
  const boost::intrusive_ptr<WatchingHandler> handler(new WatchingHandler);
  handedOver({{"."}}, *handler);
  ASSERT_EQ(handler->atItem.size(), 9U);  // the path, the dots, six files
  ASSERT_EQ(handler->records.size(), 10U);
  // Two placeholders are there from the start; the record in hand is kept until the next.
  for (std::size_t item = 2; item < handler->atItem.size(); ++item)
    EXPECT_EQ(handler->atItem[item], item) << "at item " << item;
}

/// Tells the size and the children that a directory's record has when it is handed over.
class MeasuringHandler : public TakingHandler {
 public:
  bool record(const boost::shared_ptr<HOQFileType>& record) override {
    seen.push_back(record->name + "=" + std::to_string(record->size) + "/" +
                   std::to_string(record->children.size()));
    return true;
  }
  Texts seen;
};

TEST_F(ListHandOver, HandsADirectoryOverWhenEverythingBelowItIsKnown) {
  trees::make(dir.path(), "d/a=1 d/s/b=22 d/s/t/c=333");
  for (const int options : {kSums, kSums | kRecursive, kSums | kPatterns}) {
    const boost::intrusive_ptr<MeasuringHandler> handler(new MeasuringHandler);
    handedOver({{options & kPatterns ? "*" : "."}, options}, *handler);
    const std::string wanted = options & kRecursive ? "d=6/4" : "d=6/0";
    EXPECT_EQ(std::count(handler->seen.begin(), handler->seen.end(), wanted), 1) << options;
  }
}

TEST_F(ListHandOver, AReceiverThatWantsNoMoreEndsTheListWithoutAnError) {
  trees::make(dir.path(), "a b c d/x d/y e/");
  const std::size_t all = list({".", "d"}).records.size();
  for (const int options : {0, kRecursive, kPatterns, kSums}) {
    for (std::size_t most = 1; most <= 4; ++most) {
      const boost::intrusive_ptr<TakingHandler> handler(new TakingHandler(most));
      const Outcome outcome = handedOver({{".", "d"}, options}, *handler);
      EXPECT_EQ(outcome.code, -1);
      EXPECT_EQ(outcome.messages, Texts{});
      EXPECT_EQ(handler->records.size(), most);
      EXPECT_LT(handler->itemsReached, static_cast<long>(all)) << "the walk went on";
    }
  }
}

TEST_F(ListHandOver, HandsOverPiecesOfATreeWhileItIsWalked) {
  trees::make(dir.path(), "d/s/a d/s/b d/s/c");
  const boost::intrusive_ptr<PiecesHandler> handler(new PiecesHandler(8));
  const Outcome outcome = handedOver({{"."}, kRecursive}, *handler);
  EXPECT_EQ(outcome.code, -1);
  EXPECT_EQ(outcome.messages, Texts{});
  // Two placeholders, the dots, those of d, those of s: nothing was kept until d was complete.
  EXPECT_EQ(handler->taken, 8U);
}

TEST_F(ListHandOver, WithoutTheRightToReadNothingIsHandedOver) {
  const Rights nothing(false, false);
  const boost::intrusive_ptr<TakingHandler> handler(new TakingHandler);
  ScriptedFiler filer(dir.path());
  HOQRequestModificator::of(filer).sync(handler, "");
  Records records;
  EXPECT_EQ(filer.list({"."}, &records, HOQFilerOptions(0), nullptr, kAllFields), 414);
  EXPECT_EQ(handler->records.size() + handler->answers.size(), 0U);
}

TEST_F(ListHandOver, LeavesWhatTheCallersListHasAlready) {
  trees::make(dir.path(), "a");
  const boost::intrusive_ptr<TakingHandler> handler(new TakingHandler);
  ScriptedFiler filer(dir.path());
  HOQRequestModificator::of(filer).sync(handler, "");
  const auto own = boost::make_shared<HOQFileType>();
  Records records{own};
  EXPECT_EQ(filer.list({"."}, &records, HOQFilerOptions(0), nullptr, kAllFields), 0);
  EXPECT_EQ(records, Records{own});
  EXPECT_EQ(handler->records.size(), 5U);
}

TEST_F(ListHandOver, AStatKeepsItsRecords) {
  trees::make(dir.path(), "a b");
  const boost::intrusive_ptr<TakingHandler> handler(new TakingHandler);
  ScriptedFiler filer(dir.path());
  HOQRequestModificator::of(filer).sync(handler, "");
  Records records;
  EXPECT_EQ(filer.stat({"a", "b"}, &records, HOQFilerOptions(0), kAllFields), 0);
  EXPECT_EQ(records.size(), 2U);
  EXPECT_EQ(handler->records.size(), 0U);
}

}  // namespace
}  // namespace HOQ::test
