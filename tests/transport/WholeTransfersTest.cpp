// Small files to a node, which go whole and ahead of the outcomes of those before them.
#include <gtest/gtest.h>
#include <hoq/HOQConnectionInfo.h>
#include <sys/resource.h>

#include <csignal>

#include "server/WholeEnd.h"
#include "support/ResourceCount.h"
#include "support/ScriptedFiler.h"
#include "support/TransferFactories.h"
#include "support/Trees.h"
#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;
using Strings = std::vector<std::string>;

/// There is no memory left for a file of one name.
class ExhaustedDeserializer : public HOQFileDeserializerLocalPrototype {
 public:
  using HOQFileDeserializerLocalPrototype::HOQFileDeserializerLocalPrototype;
  int startCopying(HOQChannelEndPtr end) override {
    const auto params = boost::static_pointer_cast<HOQFileDeserializerParams>(getParams());
    if (params->name == "exhausting") throw std::bad_alloc();
    return HOQFileDeserializerLocalPrototype::startCopying(std::move(end));
  }
};

class WholeTransfersTest : public testing::Test {
 protected:
  WholeTransfersTest() { restart(nodeSettings()); }
  ~WholeTransfersTest() override { HOQTransport::registerTransport(nullptr); }

  void restart(NodeServerSettings settings) {
    settings.observer = &calls;
    client = newClient(nodes);
    nodes.add("node", settings);
    HOQTransport::registerTransport(&client->transport());
  }

  int copy(const Strings& what, int options = HOQFilerOptions::kRecursive) {
    const Rights rights(true, true);
    ScriptedFiler filer(from.path());
    const int code =
        filer.copy(what, HOQConnectionInfo{"node"}, to.path(), HOQFilerOptions(options), nullptr);
    errors = filer.handler->messages();
    codes.clear();
    for (const HOQRequestErrorData& each : filer.handler->errors) codes.push_back(each.code);
    return code;
  }

  /// Makes files and names them.
  Strings makeFiles(int count, std::size_t size) {
    Strings names;
    for (int i = 0; i < count; ++i) {
      names.push_back("f" + std::to_string(100 + i));
      trees::make(from.path(), names.back() + "=" + std::string(size, 'x'));
    }
    return names;
  }

  TransferFactories<HOQFileControl, ExhaustedDeserializer> factories;
  Calls calls;
  TestNodes nodes;
  std::unique_ptr<NodeClient> client;
  TempDir from;
  TempDir to;
  Strings errors;
  std::vector<int> codes;
};

TEST_F(WholeTransfersTest, ATreeOfSmallFilesArrivesAndEachItemIsAccountedFor) {
  std::string tree = "d/none/ d/e/empty";
  for (int i = 0; i < 200; ++i) tree += " d/f" + std::to_string(i) + "=" + std::to_string(i);
  trees::make(from.path(), tree);
  EXPECT_EQ(copy({"d"}), 0);
  EXPECT_EQ(errors, Strings{});
  EXPECT_EQ(trees::snapshot(to.path(), trees::Show::kEveryDirectory),
            trees::snapshot(from.path(), trees::Show::kEveryDirectory));
  const std::vector<CallRecord> all = calls.await(204);
  EXPECT_EQ(all.size(), 204u);
  std::uint64_t bytes = 0;
  for (const CallRecord& each : all) {
    EXPECT_EQ(each.code, 0) << each.trouble;
    EXPECT_TRUE(each.changes);
    EXPECT_EQ(each.askedBy, "a test's client");
    bytes += each.bytesIn;
  }
  EXPECT_EQ(bytes, 201u * 8 + 10 + 90 * 2 + 100 * 3);
  EXPECT_EQ(nodes.node("node").counters().active, 0);
  EXPECT_EQ(nodes.node("node").counters().waiting, 0);
}

TEST_F(WholeTransfersTest, AnItemMayComeInAnySizeBetweenSmallOnes) {
  trees::make(from.path(), "d/a=1 d/b=" + std::string(65'528, 'b') +
                               " d/c=" + std::string(65'529, 'c') +
                               " d/e=" + std::string(300'000, 'e') + " d/f=2 d/g");
  EXPECT_EQ(copy({"d"}), 0);
  EXPECT_EQ(errors, Strings{});
  EXPECT_EQ(trees::snapshot(to.path()), trees::snapshot(from.path()));
}

/// The process may write files of so many bytes at most.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    before_ = ::signal(SIGXFSZ, SIG_IGN);
    EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &limit_), 0);
    const rlimit less{bytes, limit_.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &less), 0);
  }
  ~FileSizeLimit() {
    (void)::setrlimit(RLIMIT_FSIZE, &limit_);
    (void)::signal(SIGXFSZ, before_);
  }

 private:
  rlimit limit_{};
  void (*before_)(int);
};

TEST_F(WholeTransfersTest, BehindOneThatCannotBeWrittenNothingIsLeft) {
  Strings names = makeFiles(20, 100);
  trees::make(from.path(), "large=" + std::string(50'000, 'x'));
  names.insert(names.begin() + 10, "large");
  {
    const FileSizeLimit limit(10'000);
    EXPECT_EQ(copy(names), 0);
  }
  EXPECT_EQ(errors, Strings{"\"" + (from / "large") + "\", Cannot write to file"});
  EXPECT_EQ(codes, std::vector<int>{-1});
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(::access((to / names[static_cast<std::size_t>(i < 10 ? i : i + 1)]).c_str(), F_OK),
              i < 10 ? 0 : -1)
        << i;
  EXPECT_EQ(::access((to / "large").c_str(), F_OK), -1);
  EXPECT_EQ(nodes.node("node").counters().active, 0);
}

TEST_F(WholeTransfersTest, OneThatIsInTheWayEndsTheCopyThere) {
  const Strings names = makeFiles(20, 100);
  trees::make(to.path(), names[10] + "=old");
  EXPECT_EQ(copy(names), 0);
  EXPECT_EQ(errors, Strings{"\"" + (from / names[10]) + "\", Can't overwrite \"" +
                            (to / names[10]) + "\""});
  EXPECT_EQ(codes, std::vector<int>{-2});
  for (std::size_t i = 0; i < 20; ++i)
    EXPECT_EQ(::access((to / names[i]).c_str(), F_OK), i <= 10 ? 0 : -1) << i;
}

TEST_F(WholeTransfersTest, AfterOneThatFailedTheNextCopyStandsOnItsOwn) {
  const Strings names = makeFiles(20, 100);
  trees::make(to.path(), names[9] + "=old");
  EXPECT_EQ(copy({names.begin(), names.begin() + 10}), 0);
  EXPECT_EQ(codes, std::vector<int>{-2});
  EXPECT_EQ(copy({names.begin() + 10, names.end()}), 0);
  EXPECT_EQ(errors, Strings{});
}

TEST_F(WholeTransfersTest, OneThatExhaustsMemoryEndsTheCopyAndIsCountedAsEnded) {
  Strings names = makeFiles(10, 100);
  trees::make(from.path(), "exhausting=x");
  names.insert(names.begin() + 5, "exhausting");
  EXPECT_EQ(copy(names), 0);
  EXPECT_EQ(errors,
            Strings{"\"" + (from / "exhausting") + "\", The transfer broke off on the node"});
  for (std::size_t i = 0; i < names.size(); ++i)
    EXPECT_EQ(::access((to / names[i]).c_str(), F_OK), i < 5 ? 0 : -1) << i;
  EXPECT_EQ(nodes.node("node").counters().active, 0);
  EXPECT_EQ(copy({names.begin() + 6, names.end()}), 0);
  EXPECT_EQ(errors, Strings{});
}

TEST_F(WholeTransfersTest, ANodeThatTakesOneCallAtATimeTakesThemAll) {
  NodeServerSettings one = nodeSettings();
  one.requestsPerClient = 1;
  restart(one);
  Strings names = makeFiles(50, 100);
  for (const char* large : {"large", "larger"}) {
    trees::make(from.path(), large + ("=" + std::string(70'000, 'x')));
    // It needs a stream of its own, for which that of the small ones gives way.
    names.insert(names.begin() + 25, large);
  }
  EXPECT_EQ(copy(names), 0);
  EXPECT_EQ(errors, Strings{});
  EXPECT_EQ(trees::snapshot(to.path()), trees::snapshot(from.path()));
}

TEST(WholeEnd, HasAllThatItWillEverYield) {
  WholeEnd end("bytes");
  EXPECT_TRUE(end.hasAll());
  char taken[16];
  std::uint64_t got = 0;
  EXPECT_EQ(end.read(taken, sizeof taken, &got), 0);
  EXPECT_EQ(std::string(taken, got), "bytes");
  EXPECT_EQ(end.read(taken, sizeof taken, &got), 0);
  EXPECT_EQ(got, 0u);
}

TEST_F(WholeTransfersTest, NothingIsLeftOpen) {
  const Strings names = makeFiles(50, 100);
  EXPECT_EQ(copy({names.begin(), names.begin() + 25}), 0);  // what waits is kept for the next one
  const ResourceCount before;
  EXPECT_EQ(copy({names.begin() + 25, names.end()}), 0);
  EXPECT_EQ(errors, Strings{});
  EXPECT_EQ(before.difference(), "");
}

}  // namespace
}  // namespace HOQ::test
