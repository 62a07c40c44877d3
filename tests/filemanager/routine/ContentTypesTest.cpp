// The content types of many files, found out several at a time, and lists that ask for them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "routine/ContentTypes.h"
#include "support/Isolation.h"
#include "support/ScriptedFiler.h"
#include "support/TakingHandler.h"
#include "support/Trees.h"

namespace HOQ::test {
namespace {

class ContentTypesTest : public testing::Test {
 protected:
  void SetUp() override { trees::make(dir.path(), "bin/"); }

  /// Leaves no child behind, running or dead.
  void TearDown() override {
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  }

  /// A command "file" of our own; what it needs besides the shell is found as always.
  void putCommand(const std::string& script) {
    const int fd =
        ::open((dir / "bin/file").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0755);
    const std::string text =
        "#!/bin/sh\nPATH=/usr/bin:/bin\ncd '" + dir.path() + "'\n" + script + "\n";
    ASSERT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    ASSERT_EQ(close(fd), 0);
  }

  TempDir dir;
  const EnvironmentGuard path{"PATH", dir / "bin"};
};

TEST_F(ContentTypesTest, EachFileGetsItsOwn) {
  putCommand("echo \"type of $2\"");
  std::vector<std::string> texts(50);
  for (const std::size_t most : {0U, 1U, 2U, 5U}) {
    ContentTypes types(most);
    for (std::size_t i = 0; i < texts.size(); ++i) types.add("f" + std::to_string(i), texts[i]);
    types.finish();
    for (std::size_t i = 0; i < texts.size(); ++i)
      EXPECT_EQ(texts[i], "type of f" + std::to_string(i)) << "with " << most;
    texts.assign(texts.size(), "");
  }
}

TEST_F(ContentTypesTest, SeveralCommandsRunAtTheSameTime) {
  // None of them ends before all three have begun.
  putCommand("mkdir $2\nwhile [ ! -d a ] || [ ! -d b ] || [ ! -d c ]; do :; done\necho met");
  std::string texts[3];
  ContentTypes types(3);
  types.add("a", texts[0]);
  types.add("b", texts[1]);
  types.add("c", texts[2]);
  types.finish();
  for (const std::string& text : texts) EXPECT_EQ(text, "met");
}

TEST_F(ContentTypesTest, NoMoreCommandsRunThanMay) {
  // Each takes a place for as long as it runs; a third one would find none.
  putCommand(
      "if mkdir one 2>/dev/null; then rmdir one; echo ok\n"
      "elif mkdir two 2>/dev/null; then rmdir two; echo ok\n"
      "else echo 'too many'; fi");
  std::vector<std::string> texts(60);
  ContentTypes types(2);
  for (std::string& text : texts) types.add("f", text);
  types.finish();
  EXPECT_EQ(texts, std::vector<std::string>(60, "ok"));
}

TEST_F(ContentTypesTest, OneThatMayRunAloneRunsAlone) {
  putCommand("mkdir one || exit 0\nrmdir one\necho ok");
  std::vector<std::string> texts(20);
  ContentTypes types(1);
  for (std::string& text : texts) types.add("f", text);
  types.finish();
  EXPECT_EQ(texts, std::vector<std::string>(20, "ok"));
}

TEST_F(ContentTypesTest, ItsEndBeginsNothingFurtherAndLeavesNoChild) {
  putCommand("echo x >>begun\necho done");
  constexpr std::size_t kAdded = 4;  // as many as wait for one thread
  std::string texts[kAdded];
  {
    ContentTypes types(2);
    for (std::string& text : texts) types.add("f", text);
  }
  std::size_t known = 0;
  for (const std::string& text : texts) known += text.empty() ? 0U : 1U;
  std::size_t begun = 0;
  if (const int fd = ::open((dir / "begun").c_str(), O_RDONLY | O_CLOEXEC); fd >= 0) {
    begun = static_cast<std::size_t>(::lseek(fd, 0, SEEK_END)) / 2;
    close(fd);
  }
  EXPECT_EQ(begun, known) << "a command was begun and not waited for";
}

/// A list of 150 files whose command tells their names.
class ContentTypesOfLists : public ContentTypesTest {
 protected:
  static constexpr unsigned kFields = 0xFFF;

  void SetUp() override {
    ContentTypesTest::SetUp();
    putCommand("echo \"type of ${2##*/}\"");
    trees::make(dir.path(), "d/ d/sub/below=1 d/pipe|");
    for (int i = 0; i < 150; ++i) trees::make(dir.path(), "d/f" + std::to_string(i));
  }

  static void check(const std::vector<boost::shared_ptr<HOQFileType>>& records) {
    for (const auto& record : records) {
      const bool regular = record->type == HOQFileType::kRegular;
      EXPECT_EQ(record->contentType, regular ? "type of " + record->name : "");
      EXPECT_EQ((record->valid & HOQFileType::kContentType) != 0, regular) << record->name;
      check(record->children);
    }
  }

  const Rights rights{true, true};
};

TEST_F(ContentTypesOfLists, AreThereWhenTheListHasAnswered) {
  for (const int options : {0, 2}) {
    ScriptedFiler filer(dir.path());
    HOQFiler::FileTypes records;
    EXPECT_EQ(filer.list({"d"}, &records, HOQFilerOptions(options), nullptr, kFields), 0);
    EXPECT_EQ(records.size(), 156U);
    check(records);
  }
}

/// Looks at each record when it comes.
class CheckingHandler : public TakingHandler {
 public:
  using TakingHandler::TakingHandler;
  bool record(const boost::shared_ptr<HOQFileType>& record) override {
    if (record->type == HOQFileType::kRegular) {
      EXPECT_EQ(record->contentType, "type of " + record->name.substr(record->name.rfind('/') + 1));
    }
    return TakingHandler::record(record);
  }
};

TEST_F(ContentTypesOfLists, AreThereWhenARecordIsHandedOver) {
  ScriptedFiler kept(dir.path());
  HOQFiler::FileTypes records;
  ASSERT_EQ(kept.list({"d"}, &records, HOQFilerOptions(0), nullptr, kFields), 0);
  ScriptedFiler filer(dir.path());
  const boost::intrusive_ptr<CheckingHandler> handler(new CheckingHandler);
  HOQRequestModificator::of(filer).sync(handler, "");
  HOQFiler::FileTypes none;
  EXPECT_EQ(filer.list({"d"}, &none, HOQFilerOptions(0), nullptr, kFields), 0);
  ASSERT_EQ(handler->records.size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i)
    EXPECT_EQ(handler->records[i]->name, records[i]->name) << "out of order";
}

TEST_F(ContentTypesOfLists, AListThatIsStoppedLeavesNoChild) {
  trees::make(dir.path(), "d2/f1=1 d2/f2=2");
  for (const char* const pattern : {"d", "*/f1"}) {
    ScriptedFiler filer(dir.path());
    const std::size_t most = pattern == std::string("d") ? 70 : 3;
    const boost::intrusive_ptr<CheckingHandler> handler(new CheckingHandler(most));
    HOQRequestModificator::of(filer).sync(handler, "");
    HOQFiler::FileTypes none;
    EXPECT_EQ(filer.list({pattern}, &none, HOQFilerOptions(8), nullptr, kFields), -1);
    EXPECT_EQ(handler->records.size(), most);
  }
}

TEST_F(ContentTypesOfLists, AStatHasThemToo) {
  ScriptedFiler filer(dir.path());
  HOQFiler::FileTypes records;
  EXPECT_EQ(filer.stat({"d/f1", "d/f2", "d/sub"}, &records, HOQFilerOptions(0), kFields), 0);
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(records[0]->contentType, "type of f1");
  EXPECT_EQ(records[1]->contentType, "type of f2");
  EXPECT_EQ(records[2]->contentType, "");
}

TEST_F(ContentTypesOfLists, FilesThatAFilterCatchesCostNoCommand) {
  putCommand("echo x >>begun\necho type");
  ScriptedFiler asked(dir.path());
  HOQFiler::FileTypes owned;
  ASSERT_EQ(asked.stat({"d/f1"}, &owned, HOQFilerOptions(0), HOQFileType::kUser), 0);
  ASSERT_EQ(owned.size(), 1U);
  if (owned[0]->user == "unknown") GTEST_SKIP() << "who runs this has no name to filter by";
  HOQFileFilter filter;
  filter.valid = HOQFileFilter::kUserPattern;
  filter.userPattern = owned[0]->user;
  const HOQFiler::Filters filters{filter};
  ScriptedFiler filer(dir.path());
  HOQFiler::FileTypes records;
  EXPECT_EQ(filer.list({"d"}, &records, HOQFilerOptions(0), &filters, kFields), 0);
  for (const auto& record : records) EXPECT_NE(record->type, 8U) << record->name;
  EXPECT_NE(::access((dir / "begun").c_str(), F_OK), 0);
}

}  // namespace
}  // namespace HOQ::test
