// The step machine, with files that are only a script, in both directions.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "filemanager/updownload/EngineFake.h"
#include "support/CollectingHandler.h"

namespace HOQ::test {
namespace {

using Lines = std::vector<std::string>;

struct EngineCase {
  const char* name;
  std::vector<FileScript> files;
  int code;
  const char* calls;
  Lines records;  // asLine()
  Lines errors;   // "CODE TEXT"
};

const std::vector<EngineCase>& engineCases() {
  static const std::vector<EngineCase> all = {
      {"An empty list fails at once", {}, -1, "", {}, {}},
      {"A file in one piece",
       {{"a", 3, {3}}},
       0,
       "open a, move a, close a",
       {"starting 0: total 0 0/3, file 1/1: 0 0/0", "a 100: total 100 3/3, file 1/1: 100 3/3"},
       {}},
      {"A file in two pieces, in percent rounded down",
       {{"a", 7, {4, 3}}},
       0,
       "open a, move a, move a, close a",
       {"starting 0: total 0 0/7, file 1/1: 0 0/0", "a 57: total 57 4/7, file 1/1: 57 4/7",
        "a 100: total 100 7/7, file 1/1: 100 7/7"},
       {}},
      {"Pieces that make no percent are not told",
       {{"a", 1000, {1, 8, 1, 1, 989}}},
       0,
       "open a, move a, move a, move a, move a, move a, close a",
       {"starting 0: total 0 0/1000, file 1/1: 0 0/0", "a 1: total 1 10/1000, file 1/1: 1 10/1000",
        "a 100: total 100 1000/1000, file 1/1: 100 1000/1000"},
       {}},
      {"A record carries the total's percent, and a file that starts is always told",
       {{"a", 2, {1, 1}}, {"b", 2, {1, 1}}},
       0,
       "open a, move a, move a, close a, open b, move b, move b, close b",
       {"starting 0: total 0 0/4, file 1/2: 0 0/0", "a 25: total 25 1/4, file 1/2: 50 1/2",
        "a 50: total 50 2/4, file 1/2: 100 2/2", "b 75: total 75 3/4, file 2/2: 50 1/2",
        "b 100: total 100 4/4, file 2/2: 100 2/2"},
       {}},
      {"A file's percent that equals the last total is not told",
       {{"a", 2, {2}}, {"b", 4, {1, 1, 2}}},
       0,
       "open a, move a, close a, open b, move b, move b, move b, close b",
       {"starting 0: total 0 0/6, file 1/2: 0 0/0", "a 33: total 33 2/6, file 1/2: 100 2/2",
        "b 50: total 50 3/6, file 2/2: 25 1/4", "b 100: total 100 6/6, file 2/2: 100 4/4"},
       {}},
      {"A file that starts is told at 0 percent",
       {{"a", 1, {1}}, {"b", 1000, {1, 999}}},
       0,
       "open a, move a, close a, open b, move b, move b, close b",
       {"starting 0: total 0 0/1001, file 1/2: 0 0/0", "a 0: total 0 1/1001, file 1/2: 100 1/1",
        "b 0: total 0 2/1001, file 2/2: 0 1/1000",
        "b 100: total 100 1001/1001, file 2/2: 100 1000/1000"},
       {}},
      {"An empty file moves nothing",
       {{"a", 0}},
       0,
       "open a, close a",
       {"starting 0: total - 0/0, file 1/1: 0 0/0", "a 100: total - 0/0, file 1/1: 100 0/0"},
       {}},
      {"Empty files only",
       {{"a", 0}, {"b", 0}, {"c", 0}},
       0,
       "open a, close a, open b, close b, open c, close c",
       {"starting 0: total - 0/0, file 1/3: 0 0/0", "a 100: total - 0/0, file 1/3: 100 0/0",
        "b 100: total - 0/0, file 2/3: 100 0/0", "c 100: total - 0/0, file 3/3: 100 0/0"},
       {}},
      {"Empty files before, between and behind",
       {{"x", 0}, {"a", 2, {2}}, {"y", 0}, {"z", 0}, {"b", 2, {2}}, {"w", 0}},
       0,
       "open x, close x, open a, move a, close a, open y, close y, open z, close z, open b, "
       "move b, close b, open w, close w",
       {"starting 0: total 0 0/4, file 1/6: 0 0/0", "x 0: total 0 0/4, file 1/6: 100 0/0",
        "a 50: total 50 2/4, file 2/6: 100 2/2", "y 50: total 50 2/4, file 3/6: 100 0/0",
        "z 50: total 50 2/4, file 4/6: 100 0/0", "b 100: total 100 4/4, file 5/6: 100 2/2",
        "w 100: total 100 4/4, file 6/6: 100 0/0"},
       {}},
      {"Sizes that are learned count from then on",
       {{"a", kUnknown, {5}, 5}, {"b", 0, {5}, 5}},
       0,
       "open a, move a, close a, open b, move b, close b",
       {"starting 0: total 0 0/5, file 1/2: 0 0/0", "a 100: total 100 5/5, file 1/2: 100 5/5",
        "b 100: total 100 10/10, file 2/2: 100 5/5"},
       {}},
      {"A size that is learned to be 0",
       {{"a", kUnknown, {}, 0}},
       0,
       "open a, close a",
       {"starting 0: total - 0/0, file 1/1: 0 0/0", "a 100: total - 0/0, file 1/1: 100 0/0"},
       {}},
      {"A known size that the opening changes is not added once more",
       {{"a", 4, {2}, 2}},
       0,
       "open a, move a, close a",
       {"starting 0: total 0 0/4, file 1/1: 0 0/0", "a 50: total 50 2/4, file 1/1: 100 2/2"},
       {}},
      {"A size that is never learned",
       {{"a", kUnknown, {10, -1}}},
       -1,
       "open a, move a, move a, close a",
       {"starting 0: total - 0/0, file 1/1: 0 0/0"},
       {"-1 cannot move a"}},
      {"More than all that was announced",
       {{"a", 1, {1}}, {"b", kUnknown, {2147483647, -1}}},
       -1,
       "open a, move a, close a, open b, move b, move b, close b",
       {"starting 0: total 0 0/1, file 1/2: 0 0/0", "a 100: total 100 1/1, file 1/2: 100 1/1",
        "b 4294967295: total 4294967295 2147483648/1, file 2/2: 0 2147483647/18446744073709551615"},
       {"-1 cannot move b"}},
      {"Nothing moved is not told",
       {{"a", 3, {0, 3}}},
       0,
       "open a, move a, move a, close a",
       {"starting 0: total 0 0/3, file 1/1: 0 0/0", "a 100: total 100 3/3, file 1/1: 100 3/3"},
       {}},
      {"A file that starts is told with nothing moved, at the percent that stands",
       {{"a", 3, {3}}, {"b", 1, {0, 1}}},
       0,
       "open a, move a, close a, open b, move b, move b, close b",
       {"starting 0: total 0 0/4, file 1/2: 0 0/0", "a 75: total 75 3/4, file 1/2: 100 3/3",
        "b 75: total 75 3/4, file 2/2: 75 0/1", "b 100: total 100 4/4, file 2/2: 100 1/1"},
       {}},
      {"The first file cannot be opened",
       {{"a", 3, {3}, {}, 13}, {"b", 3, {3}}},
       -1,
       "open a",
       {},
       {"13 cannot open 100% of a"}},
      {"A later file cannot be opened",
       {{"a", 3, {3}}, {"b", 1, {1}, {}, 2}, {"c", 1, {1}}},
       -1,
       "open a, move a, close a, open b",
       {"starting 0: total 0 0/5, file 1/3: 0 0/0", "a 60: total 60 3/5, file 1/3: 100 3/3"},
       {"2 cannot open 100% of b"}},
      {"The first piece fails",
       {{"a", 3, {-1}}, {"b", 3, {3}}},
       -1,
       "open a, move a, close a",
       {"starting 0: total 0 0/6, file 1/2: 0 0/0"},
       {"-1 cannot move a"}},
      {"A later piece fails, with any negative number",
       {{"a", 4, {2, -7}}},
       -1,
       "open a, move a, move a, close a",
       {"starting 0: total 0 0/4, file 1/1: 0 0/0", "a 50: total 50 2/4, file 1/1: 50 2/4"},
       {"-1 cannot move a"}},
      {"The first piece of a later file fails",
       {{"a", 3, {3}}, {"b", 3, {-1}}},
       -1,
       "open a, move a, close a, open b, move b, close b",
       {"starting 0: total 0 0/6, file 1/2: 0 0/0", "a 50: total 50 3/6, file 1/2: 100 3/3"},
       {"-1 cannot move b"}},
      {"A failure is told once, though the closing fails as well",
       {{"a", 3, {-1}, {}, 0, -1}},
       -1,
       "open a, move a, close a",
       {"starting 0: total 0 0/3, file 1/1: 0 0/0"},
       {"-1 cannot move a"}},
      {"The last closing fails after its record",
       {{"a", 3, {3}, {}, 0, -1}},
       -1,
       "open a, move a, close a",
       {"starting 0: total 0 0/3, file 1/1: 0 0/0", "a 100: total 100 3/3, file 1/1: 100 3/3"},
       {"-1 cannot close a"}},
      {"A closing that fails ends the list",
       {{"a", 3, {3}, {}, 0, -1}, {"b", 3, {3}}},
       -1,
       "open a, move a, close a",
       {"starting 0: total 0 0/6, file 1/2: 0 0/0", "a 50: total 50 3/6, file 1/2: 100 3/3"},
       {"-1 cannot close a"}},
      {"The closing of an empty file fails before its record",
       {{"a", 0, {}, {}, 0, -1}},
       -1,
       "open a, close a",
       {"starting 0: total - 0/0, file 1/1: 0 0/0"},
       {"-1 cannot close a"}},
  };
  return all;
}

template <class List>
class Engine : public testing::Test {
 protected:
  Lines recordLines() const {
    Lines lines;
    for (const auto& record : handler->progressRecords) lines.push_back(asLine(record));
    return lines;
  }
  Lines errorLines() const {
    Lines lines;
    for (const auto& error : handler->errors)
      lines.push_back(std::to_string(error.code) + " " + error.message);
    return lines;
  }

  CollectingHandlerPtr handler{new CollectingHandler};
};

using Directions = testing::Types<HOQFiler::UploadList, HOQFiler::DownloadList>;
TYPED_TEST_SUITE(Engine, Directions);

TYPED_TEST(Engine, TellsAndDoesWhatItsTableSays) {
  for (const EngineCase& row : engineCases()) {
    SCOPED_TRACE(row.name);
    this->handler = new CollectingHandler;
    const TypeParam list = EngineFake<TypeParam>::itemsOf(row.files);
    EngineFake<TypeParam> engine(row.files, list, this->handler);
    EXPECT_EQ(engine.operateFiles(), row.code);
    EXPECT_EQ(engine.calls, row.calls);
    EXPECT_EQ(this->recordLines(), row.records);
    EXPECT_EQ(this->errorLines(), row.errors);
    EXPECT_EQ(engine.lastError.code != 0, !row.errors.empty());
  }
}

TYPED_TEST(Engine, AStepSaysWhetherThereIsAnother) {
  const std::vector<FileScript> files = {{"a", 2, {1, 0, 1}}, {"b", 0}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  EngineFake<TypeParam> engine(files, list, this->handler);
  EXPECT_EQ(engine.state, 1U);
  EXPECT_TRUE(engine.fileStarted);
  EXPECT_EQ(engine.operateFile(), 1001);
  EXPECT_EQ(engine.state, 2U);
  EXPECT_TRUE(engine.fileStarted);
  EXPECT_EQ(engine.operateFile(), 1001);
  EXPECT_FALSE(engine.fileStarted);
  EXPECT_EQ(engine.operateFile(), 1001);
  EXPECT_EQ(engine.operateFile(), 1001);
  EXPECT_EQ(engine.operateFile(), 0);
  EXPECT_TRUE(engine.fileStarted);
  EXPECT_EQ(engine.operateFile(), -1);
}

TYPED_TEST(Engine, StartsWithWhatItWasGiven) {
  const std::vector<FileScript> files = {{"a", 2, {2}}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  const EngineFake<TypeParam> engine(files, list, this->handler, false);
  EXPECT_EQ(engine.items, &list);
  EXPECT_EQ(engine.current, list.begin());
  EXPECT_EQ(engine.securityAttributes.value, 0640);
  EXPECT_EQ(engine.optionFlags, 5U);
  EXPECT_EQ(engine.progress.status, "starting");
  EXPECT_EQ(engine.progress.operation, "fake");
  EXPECT_EQ(engine.progress.percent, 0U);
  EXPECT_TRUE(engine.progress.parameters.empty());
  EXPECT_EQ(engine.handler, this->handler);
  EXPECT_EQ(engine.totalBytes + engine.totalProgressBytes + engine.remaining + engine.fileSize, 0U);
  EXPECT_FALSE(engine.reportsProgress);
  EXPECT_EQ(engine.lastError.code, 0);
  EXPECT_EQ(engine.lastError.message, "");
}

/// The type of a parameter: 4 or 8 bytes, or 't' for a text.
char typeOf(const HOQRequestProgressData::Value& value) {
  if (std::holds_alternative<std::string>(value)) return 't';
  return std::holds_alternative<std::uint64_t>(value) ? '8' : '4';
}

TYPED_TEST(Engine, EachRecordHasEachKeyOnceInOrder) {
  const std::vector<FileScript> files = {{"a", 3, {1, 2}}, {"e", 0}, {"b", 2, {2}}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  EngineFake<TypeParam> engine(files, list, this->handler);
  EXPECT_EQ(engine.operateFiles(), 0);
  const std::string keys =
      "total_progress_percent 4, total_progress_bytes 8, total_bytes 8, total_files 4, "
      "current_file_id 4, current_file_src t, current_file_dst t, current_file_size 8, "
      "current_progress_percent 4, current_progress_bytes 4, ";
  ASSERT_EQ(this->handler->progressRecords.size(), 5U);
  for (const auto& record : this->handler->progressRecords) {
    std::string found;
    for (const auto& parameter : record.parameters)
      found += parameter.name + " " + typeOf(parameter.value) + ", ";
    EXPECT_EQ(found, keys);
    EXPECT_EQ(record.operation, "fake");
  }
  const auto& last = this->handler->progressRecords.back();
  const bool isUpload = std::is_same_v<TypeParam, HOQFiler::UploadList>;
  EXPECT_EQ(parameterOf(last, "current_file_src"), isUpload ? "" : "b");
  EXPECT_EQ(parameterOf(last, "current_file_dst"), isUpload ? "b" : "");
}

TYPED_TEST(Engine, WithoutReportsOnlyErrorsAreTold) {
  const std::vector<FileScript> files = {{"a", 3, {3}}, {"b", 3, {-1}}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  EngineFake<TypeParam> engine(files, list, this->handler, false);
  EXPECT_EQ(engine.operateFiles(), -1);
  EXPECT_EQ(this->handler->events, Lines{"error"});
}

TYPED_TEST(Engine, WithoutAHandlerTheErrorIsKept) {
  const std::vector<FileScript> files = {{"a", 3, {3}}, {"b", 3, {}, {}, 28}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  EngineFake<TypeParam> engine(files, list, nullptr);
  EXPECT_EQ(engine.operateFiles(), -1);
  EXPECT_EQ(engine.lastError.code, 28);
  EXPECT_EQ(engine.lastError.message, "cannot open 100% of b");
}

TYPED_TEST(Engine, AdvancesOffsetsThatAreNotNegative) {
  const std::vector<FileScript> files = {{"a", 5, {2, 3}}, {"b", 5, {5}}, {"c", 5, {5}}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  list[1]->offset = 1LL << 40;
  list[2]->offset = -3;
  EngineFake<TypeParam> engine(files, list, this->handler);
  EXPECT_EQ(engine.operateFiles(), 0);
  EXPECT_EQ(list[0]->offset, 5);
  EXPECT_EQ(list[1]->offset, (1LL << 40) + 5);
  EXPECT_EQ(list[2]->offset, -3);
}

TYPED_TEST(Engine, PercentagesOfHugeSizesDoNotOverflow) {
  const std::uint64_t size = 1ULL << 63;
  const std::vector<FileScript> files = {{"a", size, {2147483647}}, {"b", kUnknown - 1}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  EngineFake<TypeParam> engine(files, list, this->handler);
  ASSERT_EQ(engine.operateFile(), 1001);
  engine.totalBytes = kUnknown;
  engine.remaining = size / 2;
  engine.totalProgressBytes = size / 2;
  EXPECT_EQ(engine.operateFile(), 1001);
  const auto& record = this->handler->progressRecords.back();
  EXPECT_EQ(parameterOf(record, "current_progress_percent"), "50");
  EXPECT_EQ(parameterOf(record, "total_progress_percent"), "25");
}

TYPED_TEST(Engine, TheSumOfAnnouncedSizesStopsAtItsLargest) {
  const std::vector<FileScript> files = {
      {"a", kUnknown - 1, {-1}}, {"b", kUnknown - 1}, {"c", kUnknown}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  EngineFake<TypeParam> engine(files, list, this->handler);
  EXPECT_EQ(engine.operateFiles(), -1);
  EXPECT_EQ(engine.totalBytes, kUnknown);
}

TYPED_TEST(Engine, AFileCanBeRestarted) {
  const std::vector<FileScript> files = {{"a", 4, {3, 3, 1}}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  EngineFake<TypeParam> engine(files, list, this->handler);
  EXPECT_EQ(engine.operateFile(), 1001);
  EXPECT_EQ(engine.operateFile(), 1001);
  EXPECT_EQ(engine.remaining, 1U);
  engine.progress.status = "another";
  EXPECT_EQ(engine.restartFile(true), 1001);
  EXPECT_EQ(engine.remaining, 4U);
  EXPECT_EQ(engine.fileSize, 4U);
  EXPECT_TRUE(engine.fileStarted);
  EXPECT_EQ(engine.progress.status, "a");
  EXPECT_EQ(engine.restartFile(false), 1001);
  EXPECT_EQ(engine.calls, "open a, move a, close a, open a, open a");
}

TYPED_TEST(Engine, AFileThatCannotBeRestartedIsTold) {
  std::vector<FileScript> files = {{"a", 4, {3}}};
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  EngineFake<TypeParam> engine(files, list, this->handler);
  EXPECT_EQ(engine.operateFile(), 1001);
  files[0].openCode = 5;
  EXPECT_EQ(engine.restartFile(true), -1);
  EXPECT_EQ(this->errorLines(), Lines{"5 cannot open 100% of a"});
}

/// A client that wants the end when it is asked for the n-th time.
class Impatient : public HOQFilerBase::FileOperationControlHandler {
 public:
  explicit Impatient(int n) : left_(n) {}
  bool wantsEnd() const override { return --left_ <= 0; }

 private:
  mutable int left_;
};

TYPED_TEST(Engine, TheClientCanEndItBeforeEachStep) {
  const Lines calls = {"", "open a, close a", "open a, move a, close a",
                       "open a, move a, move a, close a"};
  const std::vector<FileScript> files = {{"a", 4, {1, 3}}};
  for (int n = 1; n <= 4; ++n) {
    SCOPED_TRACE(n);
    this->handler = new CollectingHandler;
    const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
    EngineFake<TypeParam> engine(files, list, this->handler);
    const boost::intrusive_ptr<Impatient> client(new Impatient(n));
    EXPECT_EQ(engine.operateFiles(client.get()), -1);
    EXPECT_EQ(engine.calls, calls[static_cast<std::size_t>(n - 1)]);
    EXPECT_EQ(this->errorLines(), Lines{"-1 The transfer was ended by the client"});
  }
  const TypeParam list = EngineFake<TypeParam>::itemsOf(files);
  EngineFake<TypeParam> engine(files, list, this->handler);
  const boost::intrusive_ptr<Impatient> patient(new Impatient(5));
  EXPECT_EQ(engine.operateFiles(patient.get()), 0);
}

}  // namespace
}  // namespace HOQ::test
