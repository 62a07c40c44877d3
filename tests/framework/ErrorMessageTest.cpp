#include <gtest/gtest.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/intToStr.h>

#include <climits>
#include <string>
#include <thread>

namespace HOQ {
namespace {

class ErrorMessage : public testing::Test {
 protected:
  ErrorMessage() { clearErrorMessage(); }
};

TEST_F(ErrorMessage, IsEmptyUntilOneIsSetAndAfterItIsCleared) {
  EXPECT_EQ(getErrorMessage(), "");
  setErrorMessage("no room");
  EXPECT_EQ(getErrorMessage(), "no room");
  clearErrorMessage();
  EXPECT_EQ(getErrorMessage(), "");
}

TEST_F(ErrorMessage, PutsArgumentsInTheirPlaces) {
  setErrorMessage("\"%s\", Cannot process: %s [%d]", "/a/b", std::string("No such file"), 2);
  EXPECT_EQ(getErrorMessage(), "\"/a/b\", Cannot process: No such file [2]");
  setErrorMessage("%d%s%d", INT_MIN, std::string_view("|"), INT_MAX);
  EXPECT_EQ(getErrorMessage(), "-2147483648|2147483647");
}

TEST_F(ErrorMessage, DoesNotInterpretItsArguments) {
  setErrorMessage("<%s> %s", "100%s%n%%", "x");
  EXPECT_EQ(getErrorMessage(), "<100%s%n%%> x");
}

TEST_F(ErrorMessage, LeavesAFormatWithoutArgumentsAsItIs) {
  const struct {
    const char* format;
    const char* expected;
  } cases[] = {
      {"", ""},           {"%", "%"},
      {"%%", "%"},        {"%%%", "%%"},
      {"%%s", "%s"},      {"%%%%", "%%"},
      {"100%", "100%"},   {"100%s%n", "100%s%n"},
      {"100%%", "100%"},  {"%d files", "%d files"},
      {"%5d", "%5d"},     {"%-10.3s|", "%-10.3s|"},
      {"%*d", "%*d"},     {"%n%n%n", "%n%n%n"},
      {"% s", "% s"},     {"a%\nb", "a%\nb"},
      {"%\xff", "%\xff"}, {"line\nbreak \xc3\x28", "line\nbreak \xc3\x28"},
  };
  for (const auto& each : cases) {
    setErrorMessage(each.format);
    EXPECT_EQ(getErrorMessage(), each.expected) << each.format;
  }
}

TEST_F(ErrorMessage, ShowsAConversionBeyondTheArguments) {
  setErrorMessage("%s, %s and %d", "one");
  EXPECT_EQ(getErrorMessage(), "one, %s and %d");
}

TEST_F(ErrorMessage, SpendsNoArgumentOnAConversionOfAnotherKind) {
  setErrorMessage("%x %5d %% %s", "here");
  EXPECT_EQ(getErrorMessage(), "%x %5d % here");
}

TEST_F(ErrorMessage, MayBeBuiltFromTheCurrentOne) {
  setErrorMessage("inner");
  setErrorMessage("outer: %s (%s)", getErrorMessage(), getErrorMessage());
  EXPECT_EQ(getErrorMessage(), "outer: inner (inner)");
  setErrorMessage(getErrorMessage());
  EXPECT_EQ(getErrorMessage(), "outer: inner (inner)");
}

TEST_F(ErrorMessage, HasNoBoundOnItsLength) {
  const std::string text(1'000'000, 'x');
  setErrorMessage("%s%s", text, text);
  EXPECT_EQ(getErrorMessage(), text + text);
}

TEST_F(ErrorMessage, BelongsToItsThread) {
  setErrorMessage("of the first");
  std::thread([] {
    EXPECT_EQ(getErrorMessage(), "");
    setErrorMessage("of the second");
    EXPECT_EQ(getErrorMessage(), "of the second");
  }).join();
  EXPECT_EQ(getErrorMessage(), "of the first");
}

TEST(IntToStr, WritesEveryIntInDecimal) {
  EXPECT_EQ(intToStr(0), "0");
  EXPECT_EQ(intToStr(-1), "-1");
  EXPECT_EQ(intToStr(2056), "2056");
  EXPECT_EQ(intToStr(INT_MAX), "2147483647");
  EXPECT_EQ(intToStr(INT_MIN), "-2147483648");
}

}  // namespace
}  // namespace HOQ
