// Items that go ahead of what is said of those before them: nobody can tell.
#include <algorithm>

#include "filemanager/operations/RemoteCopyFixture.h"
#include "support/ResourceCount.h"

namespace HOQ::test {
namespace {

class RemoteCopyAhead : public RemoteCopyFixture {
 protected:
  using News = std::vector<std::string>;

  /// Everything that a copy says, in order, and what it leaves in the other place.
  News newsOf(const std::string& address, const HOQFiler::Paths& paths, int options) {
    ScriptedFiler filer(dir.path());
    const int code = filer.copy(paths, HOQConnectionInfo{address}, elsewhere / "t",
                                HOQFilerOptions(options), nullptr);
    News news{std::to_string(code)};
    auto error = filer.handler->errors.begin();
    auto progress = filer.handler->progressRecords.begin();
    for (const std::string& event : filer.handler->events) {
      if (event == "error") {
        news.push_back(std::to_string(error->code) + " " + error->message);
        ++error;
      } else {
        news.push_back((progress++)->status);
      }
    }
    news.push_back(leftElsewhere());
    return news;
  }

  News freshNewsOf(const std::string& address, const char* there, const HOQFiler::Paths& paths,
                   int options = kRecursive) {
    removeContents(elsewhere.path());
    trees::make(elsewhere.path(), there);
    return newsOf(address, paths, options);
  }
};

struct AheadCase {
  const char* name;
  const char* here;
  const char* there;
  HOQFiler::Paths paths;
};

const AheadCase kCases[] = {
    {"Everything arrives", "d/a=1 d/b=2 d/e/c=3 d/e/g/ d/h=4", "t/", {"d"}},
    {"A file is in the way in the middle", "d/a=1 d/b=2 d/c=3 d/e/f=4", "t/d/b=0", {"d"}},
    {"A file is in the way of a directory", "d/a=1 d/e/f=4 d/g=2", "t/d/e=0", {"d"}},
    {"at the end of all", "a=1 b=2 c=3", "t/c=0", {"a", "b", "c"}},
    {"A link cannot be sent", "d/a=1 d/b=2 d/l->x d/z=3", "t/", {"d"}},
    {"A FIFO cannot be sent", "a=1 b=2 p| z=3", "t/", {"a", "b", "p", "z"}},
    {"A source is missing", "a=1 b=2 z=3", "t/", {"a", "b", "no", "z"}},
    {"in the way before one is missing", "a=1 b=2 z=3", "t/b=0", {"a", "b", "no", "z"}},
    {"in the way before a path that leads out", "a=1 b=2", "t/b=0", {"a", "b", "/../x", "a"}},
    {"Nothing is in its place", "a=1 b=2", "", {"a", "b"}},
};

TEST_F(RemoteCopyAhead, SaysAndLeavesWhatItWouldHaveItemByItem) {
  for (const AheadCase& row : kCases) {
    SCOPED_TRACE(row.name);
    empty();
    trees::make(dir.path(), row.here);
    const News expected = freshNewsOf(kOther, row.there, row.paths);
    EXPECT_EQ(freshNewsOf(kPrompt, row.there, row.paths), expected);
    EXPECT_EQ(freshNewsOf(kLate, row.there, row.paths), expected);
  }
}

TEST_F(RemoteCopyAhead, TakesManyMoreThanAreUnderWayAtOnce) {
  std::string tree = "d/";
  for (int i = 100; i < 400; ++i) tree += " d/f" + std::to_string(i) + "=" + std::to_string(i);
  trees::make(dir.path(), tree);
  const News expected = freshNewsOf(kOther, "t/", {"d"});
  EXPECT_EQ(expected.size(), 303u);
  for (const char* address : {kPrompt, kLate}) {
    MemoryNode& far = transport.add(address);
    far.whole = address == kPrompt ? MemoryNode::Whole::kAtOnce : MemoryNode::Whole::kLate;
    EXPECT_EQ(freshNewsOf(address, "t/", {"d"}), expected);
    const std::vector<std::string> calls = far.calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "whole"), 300);
    EXPECT_EQ(far.sessions(), 0);
  }
}

TEST_F(RemoteCopyAhead, IsNotDoneWhereSomethingMayBeReplacedOrIsLarge) {
  trees::make(dir.path(), "a=1 b=2 c=" + std::string(70'000, 'c') + " a1=1 a2=2 a3=3");
  MemoryNode& far = transport.add(kLate);
  far.whole = MemoryNode::Whole::kLate;
  const auto whole = [&far] {
    const std::vector<std::string> calls = far.calls();
    return std::count(calls.begin(), calls.end(), "whole");
  };
  (void)freshNewsOf(kLate, "t/", {"a", "b"}, kOverwrite);
  (void)freshNewsOf(kLate, "t/", {"a?"}, kPatterns);
  (void)freshNewsOf(kLate, "t/", {"a", "c"}, 0);
  EXPECT_EQ(whole(), 0);
  (void)freshNewsOf(kLate, "t/", {"a", "b"}, 0);
  EXPECT_EQ(whole(), 1) << "the first item finds out that the node is there";
}

TEST_F(RemoteCopyAhead, ALostNodeIsToldOfTheFirstItemThatIsNotKnownToBeThere) {
  trees::make(dir.path(), "a=1 b=2 c=3 d=4");
  for (const auto when : {MemoryNode::Whole::kAtOnce, MemoryNode::Whole::kLate}) {
    MemoryNode& far = transport.add("cut:1");
    far.whole = when;
    int left = 1;
    far.cuts = [&left](const std::string& call) { return call == "whole" && left-- == 0; };
    const News news = freshNewsOf("cut:1", "t/", {"a", "b", "c", "d"}, 0);
    EXPECT_EQ(news, (News{"0", dir / "a", dir / "b", dir / "c",
                          "-4 \"" + (dir / "c") + "\", The way to cut:1 is cut", "t/a=1 t/b=2"}));
    EXPECT_EQ(far.sessions(), 0);
  }
}

TEST_F(RemoteCopyAhead, ARefusalHasItsCode) {
  trees::make(dir.path(), "d/a=1 d/b=2");
  MemoryNode& far = transport.add("fickle:1");
  far.whole = MemoryNode::Whole::kLate;
  far.cuts = [&far](const std::string& call) {
    if (call == "whole") far.client.reset(new HOQClientContext("reader", true, false));
    return false;
  };
  const News news = freshNewsOf("fickle:1", "t/", {"d"});
  ASSERT_EQ(news.size(), 5u);
  EXPECT_EQ(news[3].compare(0, 6, "-1414 "), 0) << news[3];
  EXPECT_EQ(news[4], "t/d/");
}

}  // namespace
}  // namespace HOQ::test
