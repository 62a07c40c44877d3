#include "Suggestion.h"

#include <gtest/gtest.h>

namespace HOQ::cli {
namespace {

TEST(Suggestion, NamesTheNearestCandidateIfOneIsNear) {
  const std::vector<std::string> options = {"--json", "--filter", "--recursive", "-l"};
  const struct {
    const char* word;
    const char* text;
  } cases[] = {
      {"--jsno", "; did you mean --json?"},
      {"--filters", "; did you mean --filter?"},
      {"--recursiv", "; did you mean --recursive?"},
      {"--completely-else", ""},
      {"", ""},
  };
  for (const auto& row : cases) EXPECT_EQ(suggestion(row.word, options), row.text) << row.word;
  EXPECT_EQ(suggestion(std::string(100000, '-'), options), "");
}

}  // namespace
}  // namespace HOQ::cli
