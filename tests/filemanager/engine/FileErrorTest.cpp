#include "engine/FileError.h"

#include <gtest/gtest.h>
#include <hoq/HOQErrorMessage.h>

#include <string>
#include <utility>
#include <vector>

#include "support/CollectingHandler.h"
#include "support/MemberProbe.h"

namespace HOQ::test {
namespace {

class Errors : public testing::Test {
 protected:
  void SetUp() override { clearErrorMessage(); }
  void TearDown() override { clearErrorMessage(); }

  const CollectingHandlerPtr handler{new CollectingHandler};
  const HOQFilerOptions plain{0};
  const HOQFilerOptions wildcards{HOQFilerOptions::kWildcards};
};

TEST_F(Errors, AFreshOneKnowsNothing) {
  const FileError error(plain);
  EXPECT_FALSE(error.handler);
  EXPECT_EQ(error.cwd, "");
  EXPECT_EQ(error.lastError, 0);
  EXPECT_EQ(&error.options, &plain);
}

TEST_F(Errors, FieldsStandInOrder) {
  const FileError error(plain);
  EXPECT_EQ(offsetIn(error, error.handler), 0U);
  EXPECT_EQ(offsetIn(error, error.cwd), sizeof(void*));
  EXPECT_EQ(offsetIn(error, error.lastError), 2 * sizeof(void*) + sizeof(std::string));
}

TEST_F(Errors, TheWorkingDirectoryIsCanonicalAndEndsInADivider) {
  const std::pair<const char*, const char*> rows[] = {
      {"/a/b", "/a/b/"}, {"/a/b/", "/a/b/"}, {"/a//./b/../c", "/a/c/"}, {"/", "/"},
      {"", "/"},         {"/a/..", "/"},     {"/100%s%n", "/100%s%n/"}};
  for (const auto& [given, expected] : rows) {
    FileError error(plain);
    error.handler = handler;
    EXPECT_EQ(error.setCwd(given), 0) << given;
    EXPECT_EQ(error.cwd, expected) << given;
  }
  EXPECT_TRUE(handler->errors.empty());
}

TEST_F(Errors, AWorkingDirectoryAboveTheRootIsReportedAndForgotten) {
  FileError error(plain);
  error.handler = handler;
  ASSERT_EQ(error.setCwd("/old"), 0);
  EXPECT_EQ(error.setCwd("/a/../../b"), -1);
  EXPECT_EQ(error.cwd, "");
  EXPECT_EQ(error.lastError, -1);
  EXPECT_EQ(handler->messages(),
            std::vector<std::string>{"Invalid working directory \"/a/../../b\""});
}

struct FullPathCase {
  const char* path;
  const char* full;
  const char* asPattern;
};

TEST_F(Errors, AFullPathIsResolvedAgainstTheWorkingDirectory) {
  const FullPathCase rows[] = {
      {"", "", ""},
      {"f", "/w/d/f", "/w/d/f"},
      {"a//b/./c/", "/w/d/a/b/c", "/w/d/a//b/./c/"},
      {"../f", "/w/f", "/w/d/../f"},
      {"/f", "/f", "/f"},
      {"/a/../f", "/f", "/a/../f"},
      {".", "/w/d", "/w/d/."},
      {"/", "/", "/"},
      {"a*/[b]", "/w/d/a*/[b]", "/w/d/a*/[b]"},
  };
  for (const FullPathCase& row : rows) {
    SCOPED_TRACE(row.path);
    FileError literal(plain);
    ASSERT_EQ(literal.setCwd("/w/d"), 0);
    std::string full = "old";
    EXPECT_EQ(literal.getFullPath(row.path, full), 0);
    EXPECT_EQ(full, row.full);
    FileError pattern(wildcards);
    ASSERT_EQ(pattern.setCwd("/w/d"), 0);
    full = "old";
    EXPECT_EQ(pattern.getFullPath(row.path, full), 0);
    EXPECT_EQ(full, row.asPattern);
  }
}

TEST_F(Errors, AFullPathAboveTheRootIsReportedUnlessItIsAPattern) {
  FileError literal(plain);
  literal.handler = handler;
  ASSERT_EQ(literal.setCwd("/w"), 0);
  std::string full;
  EXPECT_EQ(literal.getFullPath("../../100%s", full), -1);
  EXPECT_EQ(handler->messages(), std::vector<std::string>{"Wrong path \"../../100%s\""});
  FileError pattern(wildcards);
  pattern.handler = handler;
  ASSERT_EQ(pattern.setCwd("/w"), 0);
  EXPECT_EQ(pattern.getFullPath("../../x", full), 0);
  EXPECT_EQ(full, "/w/../../x");
  EXPECT_EQ(handler->errors.size(), 1U);
}

TEST_F(Errors, AnErrorGoesToTheHandlerAtOnce) {
  FileError error(plain);
  error.handler = handler;
  EXPECT_EQ(error.setError(42, "%s %d%%", "text", 7), 42);
  EXPECT_EQ(error.lastError, 42);
  ASSERT_EQ(handler->errors.size(), 1U);
  EXPECT_EQ(handler->errors[0].code, 42);
  EXPECT_EQ(handler->errors[0].message, "text 7%");
  EXPECT_EQ(getErrorMessage(), "");
  EXPECT_EQ(error.setError(0, "%s", "second"), 0);
  EXPECT_EQ(error.lastError, 0);
  EXPECT_EQ(handler->errors.size(), 2U);
}

TEST_F(Errors, WithoutAHandlerTheMessageBecomesTheErrorText) {
  FileError error(plain);
  EXPECT_EQ(error.setError(-1, "%s went wrong", "it"), -1);
  EXPECT_EQ(error.lastError, -1);
  EXPECT_EQ(getErrorMessage(), "it went wrong");
}

// Kept: without a handler the message is read as a format once more.
TEST_F(Errors, WithoutAHandlerPercentSignsAreReadTwice) {
  FileError error(plain);
  error.setError(-1, "%s", "50%% of 100%s%n %d");
  EXPECT_EQ(getErrorMessage(), "50% of 100%s%n %d");
  error.handler = handler;
  error.setError(-1, "%s", "50%% of 100%s%n %d");
  EXPECT_EQ(handler->errors.at(0).message, "50%% of 100%s%n %d");
}

TEST_F(Errors, AMessageIsCutAt1023Bytes) {
  FileError error(plain);
  error.handler = handler;
  for (const std::size_t length : {1022U, 1023U, 1024U, 5000U}) {
    const std::string text(length, 'x');
    EXPECT_EQ(error.setError(-1, "%s", text.c_str()), -1);
    EXPECT_EQ(handler->errors.back().message, text.substr(0, 1023)) << length;
  }
}

}  // namespace
}  // namespace HOQ::test
