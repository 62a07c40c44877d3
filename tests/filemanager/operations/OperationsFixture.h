#pragma once

#include <gtest/gtest.h>
#include <hoq/HOQFileFilter.h>
#include <hoq/HOQFileType.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "support/FaultyRoutine.h"
#include "support/ScriptedFiler.h"
#include "support/Trees.h"

namespace HOQ::test {

// Bits of the options.
constexpr int kOverwrite = 0x1;
constexpr int kRecursive = 0x2;
constexpr int kFollow = 0x4;
constexpr int kPatterns = 0x8;
constexpr int kSums = 0x10;
constexpr int kOneFileSystem = 0x20;

/// Every field but the content type.
constexpr unsigned kAllFields = 0x7FF;

using Records = HOQFiler::FileTypes;
using Texts = std::vector<std::string>;

/// A place with a tree, and a client that may do everything there.
class OperationsFixture : public testing::Test {
 protected:
  /// What a Filer answered and said.
  struct Outcome {
    int code;
    Records records;
    Texts messages;
  };

  Outcome list(const HOQFiler::Paths& paths, int options = 0,
               const HOQFiler::Filters* filters = nullptr, unsigned fields = kAllFields) {
    ScriptedFiler filer(dir.path(), maker);
    Outcome outcome{0, {}, {}};
    outcome.code = filer.list(paths, &outcome.records, HOQFilerOptions(options), filters, fields);
    return checked(filer, std::move(outcome));
  }

  Outcome stat(const HOQFiler::Paths& paths, int options = 0, unsigned fields = kAllFields) {
    ScriptedFiler filer(dir.path(), maker);
    Outcome outcome{0, {}, {}};
    outcome.code = filer.stat(paths, &outcome.records, HOQFilerOptions(options), fields);
    return checked(filer, std::move(outcome));
  }

  Outcome remove(const HOQFiler::Paths& paths, int options = 0) {
    ScriptedFiler filer(dir.path(), maker);
    const int code = filer.remove(paths, HOQFilerOptions(options));
    EXPECT_TRUE(filer.handler->answers.empty());
    return {code, {}, filer.handler->messages()};
  }

  Outcome mkdir(const HOQFiler::Paths& paths, int options = 0,
                const HOQSecurityAttributes* attributes = nullptr) {
    ScriptedFiler filer(dir.path(), maker);
    const int code = filer.mkdir(paths, attributes, HOQFilerOptions(options));
    EXPECT_TRUE(filer.handler->answers.empty());
    return {code, {}, filer.handler->messages()};
  }

  std::string left() const { return trees::snapshot(dir.path()); }

  /// Routines that fail by `plan`, which outlives them.
  void failBy(FaultPlan& plan) {
    maker = [&plan](const std::string& directory) {
      return boost::shared_ptr<HOQFileRoutine>(new FaultyRoutine(directory, plan));
    };
  }

  /// Routines that do `deed` before each of their calls.
  void interfere(InterferingRoutine::Deed deed) {
    maker = [deed = std::move(deed)](const std::string& directory) {
      return boost::shared_ptr<HOQFileRoutine>(new InterferingRoutine(directory, deed));
    };
  }

  std::string quoted(const std::string& item) const { return "\"" + dir / item + "\""; }

  TempDir dir;
  ScriptedFiler::RoutineMaker maker;
  const Rights rights{true, true};

 private:
  /// Every answer says what was returned.
  static Outcome checked(const ScriptedFiler& filer, Outcome outcome) {
    EXPECT_EQ(filer.handler->answers.size(), 1U);
    if (!filer.handler->answers.empty()) {
      const CollectingHandler::Answer& answer = filer.handler->answers.front();
      EXPECT_EQ(answer.tag, 1161);
      EXPECT_EQ(answer.code, outcome.code);
      EXPECT_EQ(answer.message, "");
      EXPECT_EQ(answer.records, outcome.records);
    }
    outcome.messages = filer.handler->messages();
    return outcome;
  }
};

/// The names of records, sorted.
inline Texts namesOf(const Records& records) {
  Texts names;
  for (const auto& record : records) names.push_back(record->name);
  std::sort(names.begin(), names.end());
  return names;
}

/// Records but for the dots, sorted by name, as "name=size" with their children in brackets.
inline std::string sizesOf(const Records& records) {
  std::map<std::string, std::string> texts;
  for (const auto& record : records) {
    if (record->name == "." || record->name == "..") continue;
    std::string text = record->name + "=" + std::to_string(record->size);
    if (!record->children.empty()) text += "(" + sizesOf(record->children) + ")";
    EXPECT_TRUE(texts.emplace(record->name, text).second) << "twice: " << record->name;
  }
  std::string line;
  for (const auto& [name, text] : texts) line += (line.empty() ? "" : " ") + text;
  return line;
}

/// The record of that name; without one the test fails and a fresh record stands for it.
inline HOQFileType& recordOf(const Records& records, const std::string& name) {
  // The first two records of a list are its placeholders.
  for (auto record = records.rbegin(); record != records.rend(); ++record)
    if ((*record)->name == name) return **record;
  ADD_FAILURE() << "no record of " << name;
  static HOQFileType none;
  return none = HOQFileType();
}

}  // namespace HOQ::test
