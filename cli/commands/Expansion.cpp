#include "commands/Expansion.h"

#include <algorithm>

#include "PathText.h"
#include "listing/Selection.h"

namespace HOQ::cli {
namespace {

std::vector<std::string> componentsOf(const std::string& pattern) {
  std::vector<std::string> components;
  for (std::size_t start = 0; start < pattern.size();) {
    const std::size_t end = std::min(pattern.find('/', start), pattern.size());
    if (end > start) components.push_back(pattern.substr(start, end - start));
    start = end + 1;
  }
  return components;
}

bool byName(const RecordPtr& a, const RecordPtr& b) { return a->name < b->name; }

}  // namespace

std::vector<Match> Expansion::expand(const std::string& directory, const std::string& pattern) {
  const bool absolute = pattern.front() == '/';
  matches_ = {{absolute ? "/" : "", absolute ? "/" : directory, nullptr}};
  const auto components = componentsOf(pattern);
  for (std::size_t i = 0; i < components.size(); ++i)
    step(components[i], i + 1 == components.size());
  examineUnknown(pattern.back() == '/');
  return std::move(matches_);
}

void Expansion::step(const std::string& component, bool last) {
  next_.clear();
  for (const Match& from : matches_) {
    if (hasWildcards(component))
      stepPattern(from, component, last);
    else
      next_.push_back({join(from.shown, component), resolve(from.full, component), nullptr});
  }
  matches_.swap(next_);
}

void Expansion::stepPattern(const Match& from, const std::string& pattern, bool last) {
  Listed listed = lookup_.match(from.full, pattern, last ? filters_ : nullptr);
  complete_ = complete_ && (listed.complete || listed.outcome == Listed::Outcome::kNotDirectory);
  std::sort(listed.records.begin(), listed.records.end(), byName);
  for (RecordPtr& record : listed.records) {
    const bool leads =
        record->type == HOQFileType::kDirectory || record->type == HOQFileType::kLink;
    if (!last && !leads) continue;
    next_.push_back(
        {join(from.shown, record->name), join(from.full, record->name), std::move(record)});
  }
}

/// Looks at what no listing has told of: what stands behind a pattern without being one.
void Expansion::examineUnknown(bool directoriesOnly) {
  next_.clear();
  for (Match& match : matches_) {
    std::string why;
    if (!match.record) match.record = lookup_.find(match.full, false, why);
    complete_ = complete_ && why.empty();
    if (!match.record) continue;
    if (directoriesOnly && match.record->type != HOQFileType::kDirectory) continue;
    next_.push_back(std::move(match));
  }
  matches_.swap(next_);
}

}  // namespace HOQ::cli
