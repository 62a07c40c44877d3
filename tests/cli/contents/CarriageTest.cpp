#include "contents/Carriage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hoq/HOQFileType.h>

#include <memory>

#include "PathText.h"
#include "Session.h"
#include "cli/contents/MemorySide.h"

namespace HOQ::cli {
namespace {

using test::MemorySide;
using test::MemoryStore;

constexpr std::size_t kPiece = Side::kPieceBytes;

Settings quiet() {
  Settings settings;
  settings.quiet = true;
  settings.progress = When::kNever;
  return settings;
}

std::string longText(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * i % 251 + i / kPiece);
  return text;
}

/// Two stores, and runs between them in the direction of put.
class CarriageTest : public testing::Test {
 protected:
  CarriageTest() {
    options.put = true;
    options.recursive = true;
    source->directory("/s");
    target->directory("/t");
  }

  Wanted wanted(const std::string& path, const std::string& name) {
    Wanted item{path, name, {}, false, path};
    MemorySide side(source);
    EXPECT_TRUE(examineItem(side, path, true, item.attributes)) << path;
    return item;
  }

  /// Carries items of /s into /t.
  ExitStatus run(const std::vector<Wanted>& items) {
    Session session(quiet());
    ContentsProgress progress(session, "put", true);
    Outcome outcome([this](const std::string& line) {
      const std::lock_guard<std::mutex> lock(told);
      errors.push_back(line);
    });
    Interruption interruption;
    Carriage carriage(
        options, [this] { return std::make_unique<MemorySide>(source); },
        [this] { return std::make_unique<MemorySide>(target); }, interruption, outcome, progress);
    carriage.run(items, "/t", ".place");
    return outcome.status();
  }

  ContentsOptions options;
  const std::shared_ptr<MemoryStore> source = std::make_shared<MemoryStore>();
  const std::shared_ptr<MemoryStore> target = std::make_shared<MemoryStore>();
  std::mutex told;
  std::vector<std::string> errors;
};

TEST_F(CarriageTest, SmallFilesShareRequests) {
  source->directory("/s/d");
  for (int i = 0; i < 300; ++i) source->file("/s/d/" + std::to_string(i), std::string(i, 'x'));
  EXPECT_EQ(run({wanted("/s/d", "d")}), kExitDone);
  EXPECT_EQ(target->items.size(), 1U + 1 + 1 + 300);
  EXPECT_EQ(source->count("read"), 1);
  EXPECT_EQ(target->count("write"), 1);
  EXPECT_EQ(target->count("move"), 1);
}

TEST_F(CarriageTest, LargeFilesGoInPiecesSeveralToARequest) {
  const std::string text = longText(9 * kPiece + 5);
  source->file("/s/f", text);
  EXPECT_EQ(run({wanted("/s/f", "f")}), kExitDone);
  EXPECT_EQ(target->items["/t/f"].data, text);
  EXPECT_EQ(target->count("write 4"), 2);
  EXPECT_EQ(target->count("write"), 3);
}

TEST_F(CarriageTest, OnOneMachineALargeFileIsReadPieceByPieceAsItIsWritten) {
  options.sameMachine = true;
  const std::string text = longText(9 * kPiece + 5);
  source->file("/s/f", text);
  source->file("/s/g", "small");
  EXPECT_EQ(run({wanted("/s/f", "f"), wanted("/s/g", "g")}), kExitDone);
  EXPECT_EQ(target->items["/t/f"].data, text);
  EXPECT_EQ(target->items["/t/g"].data, "small");
  EXPECT_EQ(target->count("write 1"), 11);
}

TEST_F(CarriageTest, OnOneMachineAFileThatChangesMeanwhileDoesNotArrive) {
  options.sameMachine = true;
  const std::string text = longText(3 * kPiece);
  for (const std::string& now :
       {text + "more", text.substr(0, kPiece), std::string(text.size(), 'x')}) {
    source->file("/s/f", text);
    const auto before = wanted("/s/f", "f");
    source->file("/s/f", now);
    source->items["/s/f"].mtime = 2;
    errors.clear();
    EXPECT_EQ(run({before}), kExitFailed);
    EXPECT_THAT(errors, testing::ElementsAre("\"/s/f\" was changed while it was read"));
    EXPECT_EQ(target->contents(), (std::map<std::string, std::string>{{"/t", "/"}}));
  }
}

TEST_F(CarriageTest, NamesThatLeadOutOfTheirDirectoryAreRefused) {
  source->directory("/s/d");
  source->file("/s/d/good", "good");
  const std::vector<std::string> names = {"..",  "../x", "/etc/x",
                                          "a/b", "",     std::string("n\0x", 3)};
  source->extraNames["/s/d"] = names;
  EXPECT_EQ(run({wanted("/s/d", "d")}), kExitFailed);
  EXPECT_EQ(errors.size(), names.size());
  for (const std::string& line : errors)
    EXPECT_THAT(line, testing::StartsWith("a name in \"/s/d\" is refused: "));
  EXPECT_EQ(target->contents(), (std::map<std::string, std::string>{
                                    {"/t", "/"}, {"/t/d", "/"}, {"/t/d/good", "good"}}));
}

TEST_F(CarriageTest, ANameThatComesTwiceArrivesOnce) {
  source->directory("/s/d");
  source->file("/s/d/f", "first");
  source->extraNames["/s/d"] = {"f"};
  EXPECT_EQ(run({wanted("/s/d", "d")}), kExitFailed);
  EXPECT_EQ(errors.size(), 1U);
}

TEST_F(CarriageTest, WhatIsThereIsReplacedOnlyWhenAsked) {
  source->file("/s/f", "new");
  target->file("/t/f", "old");
  EXPECT_EQ(run({wanted("/s/f", "f")}), kExitFailed);
  EXPECT_THAT(errors, testing::ElementsAre("Can't overwrite \"/t/f\" with \"/s/f\" file exists"));
  EXPECT_EQ(target->items["/t/f"].data, "old");
  options.force = true;
  EXPECT_EQ(run({wanted("/s/f", "f")}), kExitDone);
  EXPECT_EQ(target->items["/t/f"].data, "new");
}

/// What an interrupted run has left, and what becomes of it.
TEST_F(CarriageTest, WhatIsLeftIsUsedOnlyWhereItIsProven) {
  const std::string text = longText(4 * kPiece);
  const struct {
    const char* name;
    std::string left;
    int pieces;  // that are written: with none, the end of the file alone
  } cases[] = {
      {"the beginning", text.substr(0, 3 * kPiece), 1},
      {"all of it", text, 1},
      {"another beginning", "X" + text.substr(1, 3 * kPiece), 4},
      {"more than there is", text + "x", 4},
      {"nothing", "", 4},
  };
  source->file("/s/f", text);
  options.resume = true;
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    target->items.erase("/t/f");
    target->log.clear();
    target->directory("/t/.place");
    target->directory("/t/.place/earlier");
    target->file("/t/.place/earlier/f", row.left);
    EXPECT_EQ(run({wanted("/s/f", "f")}), kExitDone);
    EXPECT_EQ(target->count("write " + std::to_string(row.pieces)), 1);
    EXPECT_EQ(target->count("write"), 1);
    EXPECT_EQ(target->contents(),
              (std::map<std::string, std::string>{{"/t", "/"}, {"/t/f", text}}));
  }
}

/// Fails the n-th call of the target, for each n until a run meets no failure.
class CarriageFaults : public CarriageTest {
 protected:
  void prepare() {
    target->items.clear();
    target->directory("/");
    target->directory("/t");
    target->directory("/t/d");
    target->file("/t/d/f", "old");
    target->log.clear();
    target->hook = nullptr;
    errors.clear();
  }

  void makeSource() {
    source->directory("/s/d");
    source->directory("/s/d/new");
    source->file("/s/d/f", "replaced", 0600);
    source->file("/s/d/g", longText(5 * kPiece));
    source->file("/s/d/new/h", "tree", 0400);
  }

  template <class Failure>
  void strike(int n, const Failure& failure) {
    struck = false;
    target->hook = [this, n, failure](const std::string&) {
      if (static_cast<int>(target->log.size()) != n) return;
      struck = true;
      throw failure;
    };
  }

  /// What ends the whole run is a failure as well.
  ExitStatus runOrFail() {
    try {
      return run({wanted("/s/d", "d")});
    } catch (const SideError&) {
      return kExitFailed;
    }
  }

  /// Calls whose failure is none of the run: a move is tried once more, item by item, and a place
  /// that cannot be removed is left to the next run.
  static bool isMadeGood(const std::string& call) {
    for (const char* name : {"move", "rename", "remove"})
      if (call.find(name) == 0) return true;
    return false;
  }

  void expectNothingHalf() {
    for (const auto& [path, data] : target->contents()) {
      if (data == "/" || path.find(".place") != std::string::npos) continue;
      const std::string& whole = source->items["/s" + path.substr(2)].data;
      EXPECT_TRUE(data == whole || (path == "/t/d/f" && data == "old")) << path;
    }
    EXPECT_EQ(target->items.count("/t/d/f"), 1U);
  }

  void expectSource() {
    auto expected = source->contents();
    for (const auto& [path, data] : expected)
      EXPECT_EQ(target->contents()["/t" + path.substr(2)], data) << path;
    EXPECT_EQ(target->items.size(), source->items.size()) << testing::PrintToString(target->log);
  }

  bool struck = false;
};

TEST_F(CarriageFaults, ACallThatFailsLeavesNothingHalfAndAFurtherRunEndsTheWork) {
  makeSource();
  options.force = true;
  const struct {
    bool resume, sameMachine;
  } cases[] = {{false, false}, {true, false}, {false, true}, {true, true}};
  for (const auto& [resume, sameMachine] : cases) {
    options.resume = resume;
    options.sameMachine = sameMachine;
    for (int n = 1;; ++n) {
      ASSERT_LE(n, 200);  // the sweep ends
      SCOPED_TRACE(testing::Message() << "call " << n << (resume ? ", to be resumed" : "")
                                      << (sameMachine ? ", on one machine" : ""));
      prepare();
      strike(n, SideError("struck"));
      const ExitStatus status = runOrFail();
      const bool madeGood = struck && isMadeGood(target->log[static_cast<std::size_t>(n) - 1]);
      if (struck && !madeGood) {
        EXPECT_EQ(status, kExitFailed) << target->log[static_cast<std::size_t>(n) - 1];
      }
      if (!struck) {
        EXPECT_EQ(status, kExitDone);
        expectSource();
        break;
      }
      expectNothingHalf();
      target->hook = nullptr;
      EXPECT_EQ(run({wanted("/s/d", "d")}), kExitDone);
      expectSource();
    }
  }
}

TEST_F(CarriageFaults, AnInterruptionTidiesUpUnlessItIsToBeResumed) {
  makeSource();
  options.force = true;
  for (int n = 1;; ++n) {
    ASSERT_LE(n, 200);
    SCOPED_TRACE(n);
    prepare();
    strike(n, Interrupted());
    try {
      (void)run({wanted("/s/d", "d")});
      if (!struck) break;
      ADD_FAILURE() << "an interruption was lost";
    } catch (const Interrupted&) {
    }
    expectNothingHalf();
    for (const auto& [path, data] : target->contents())
      EXPECT_EQ(path.find(".place"), std::string::npos) << path;
  }
}

TEST_F(CarriageFaults, ARefusalEndsTheCommand) {
  makeSource();
  prepare();
  strike(3, CommandError(kExitRefused, "access refused"));
  EXPECT_THROW((void)run({wanted("/s/d", "d")}), CommandError);
  expectNothingHalf();
}

TEST(PlaceName, FollowsFromCommandAndTargetsAlone) {
  EXPECT_EQ(placeName("put", "f/"), placeName("put", "f/"));
  EXPECT_NE(placeName("put", "f/"), placeName("put", "g/"));
  EXPECT_NE(placeName("put", "f/"), placeName("get", "f/"));
  EXPECT_THAT(placeName("put", "f/"), testing::MatchesRegex("\\.hoq-put-[0-9a-f]{16}"));
}

}  // namespace
}  // namespace HOQ::cli
