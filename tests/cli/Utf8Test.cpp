#include "output/Utf8.h"

#include <gtest/gtest.h>

#include "output/Base64.h"

namespace HOQ::cli {
namespace {

using std::string_literals::operator""s;

TEST(Utf8, TellsWellFormedTextFromOther) {
  const struct {
    std::string text;
    bool valid;
  } cases[] = {
      {"", true},
      {"plain", true},
      {"\x00"s, true},
      {"\xC3\xA9", true},               // U+00E9
      {"\xE2\x82\xAC", true},           // U+20AC
      {"\xF0\x9F\x98\x80", true},       // U+1F600
      {"\xF4\x8F\xBF\xBF", true},       // U+10FFFF, the last
      {"\xF4\x90\x80\x80", false},      // one more
      {"\xF8\x88\x80\x80\x80", false},  // five bytes
      {"\xC0\xAF", false},              // "/" in two bytes
      {"\xE0\x80\xAF", false},          // in three
      {"\xF0\x80\x80\xAF", false},      // in four
      {"\xED\xA0\x80", false},          // a surrogate
      {"\x80", false},                  // a middle without a beginning
      {"\xC3", false},                  // a beginning without an end
      {"\xE2\x82", false},
      {"a\xC3z", false},
      {"\xFF", false},
  };
  for (const auto& row : cases) EXPECT_EQ(isUtf8(row.text), row.valid) << toBase64(row.text);
}

TEST(Utf8, ShowsOnATerminalWhatCannotHarmIt) {
  const struct {
    std::string text;
    std::string shown;
  } cases[] = {
      {"plain name", "plain name"},   {"a\nb\tc\rd", "a\\nb\\tc\\rd"},
      {"\x1b[31m", "\\x1b[31m"},      {"\x7f", "\\x7f"},
      {"\xC2\x9B", "\\x9b"},        // the one-byte CSI of eight-bit terminals
      {"\xE2\x80\xAE", "\\u202e"},  // turns the direction of what follows
      {"\xE2\x81\xA6", "\\u2066"},    {"\xFFz", "\\xffz"},
      {"caf\xC3\xA9", "caf\xC3\xA9"}, {"\xE6\x97\xA5\xE6\x9C\xAC", "\xE6\x97\xA5\xE6\x9C\xAC"},
  };
  for (const auto& row : cases) EXPECT_EQ(escapeForTerminal(row.text), row.shown);
}

TEST(Utf8, NoByteReachesATerminalAsAControlCharacter) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string shown = escapeForTerminal(std::string(1, static_cast<char>(byte)));
    EXPECT_TRUE(isUtf8(shown)) << byte;
    for (const char c : shown) EXPECT_GE(c, 0x20) << byte;
  }
}

TEST(Utf8, CountsTheColumnsOfWideAndCombiningCharacters) {
  EXPECT_EQ(displayWidth("abc"), 3U);
  EXPECT_EQ(displayWidth("caf\xC3\xA9"), 4U);
  EXPECT_EQ(displayWidth("e\xCC\x81"), 1U);                 // e and a combining accent
  EXPECT_EQ(displayWidth("\xE6\x97\xA5\xE6\x9C\xAC"), 4U);  // two ideographs
}

TEST(Base64, TurnsBytesToTextAndBack) {
  const struct {
    std::string bytes;
    std::string text;
  } cases[] = {{"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
               {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"\xFF\xFE\x00"s, "//4A"}};
  for (const auto& row : cases) {
    EXPECT_EQ(toBase64(row.bytes), row.text);
    std::string back = "before";
    EXPECT_TRUE(fromBase64(row.text, back));
    EXPECT_EQ(back, row.bytes);
  }
}

TEST(Base64, RefusesWhatItWouldNotHaveWrittenAndChangesNothing) {
  for (const char* text :
       {"Zg", "Zg=", "Zh==", "Zm9=", "Z", "====", "Zg==\n", "Zm9 v", "Zm-_", "Zg==Zg=="}) {
    std::string bytes = "before";
    EXPECT_FALSE(fromBase64(text, bytes)) << text;
    EXPECT_EQ(bytes, "before") << text;
  }
}

}  // namespace
}  // namespace HOQ::cli
