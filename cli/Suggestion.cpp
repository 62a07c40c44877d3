#include "Suggestion.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace HOQ::cli {
namespace {

/// Insertions, removals and replacements that lead from `a` to `b`.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
    }
  }
  return row.back();
}

}  // namespace

std::string suggestion(const std::string& word, const std::vector<std::string>& candidates) {
  constexpr std::size_t kLongestWord = 64;  // longer ones are no slips of the hand
  if (word.size() > kLongestWord) return "";
  std::size_t nearest = std::max<std::size_t>(word.size() / 2, 2);
  std::string found;
  for (const std::string& candidate : candidates) {
    const std::size_t away = distance(word, candidate);
    if (away >= nearest) continue;
    nearest = away;
    found = candidate;
  }
  return found.empty() ? "" : "; did you mean " + found + "?";
}

}  // namespace HOQ::cli
