#include <gtest/gtest.h>
#include <hoq/HOQFileType.h>
#include <hoq/HOQMsgWriter.h>

#include <memory>

namespace HOQ {
namespace {

class Sink : public HOQMsgSink {
 public:
  void fileTypes(int tagOfAnswer, const FileTypes& answer) override {
    ++calls;
    tag = tagOfAnswer;
    records = &answer;
  }

  int calls = 0;
  int tag = 0;
  const FileTypes* records = nullptr;
};

TEST(MsgWriter, HandsTheRecordsOverUnderTheirTagWithoutACopy) {
  HOQMsgSink::FileTypes records;
  const std::unique_ptr<HOQMsgWriter> writer(newHOQWriterData(&records, 1161));
  records.push_back(boost::shared_ptr<HOQFileType>(new HOQFileType));  // also what comes later
  Sink sink;
  EXPECT_EQ(sink.calls, 0);
  writer->write(sink);
  EXPECT_EQ(sink.calls, 1);
  EXPECT_EQ(sink.tag, 1161);
  EXPECT_EQ(sink.records, &records);
  EXPECT_EQ(records.front().use_count(), 1);
}

TEST(MsgWriter, LeavesTheRecordsToTheirOwner) {
  HOQMsgSink::FileTypes records(1, boost::shared_ptr<HOQFileType>(new HOQFileType));
  delete newHOQWriterData(&records, 0);
  EXPECT_EQ(records.size(), 1u);
}

}  // namespace
}  // namespace HOQ
