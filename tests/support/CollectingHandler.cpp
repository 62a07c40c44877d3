#include "support/CollectingHandler.h"

#include <hoq/HOQMsgWriter.h>

namespace HOQ::test {
namespace {

class AnswerSink : public HOQMsgSink {
 public:
  explicit AnswerSink(CollectingHandler::Answer& answer) : answer_(answer) {}

  void fileTypes(int tag, const FileTypes& records) override {
    answer_.tag = tag;
    answer_.records = records;
  }

 private:
  CollectingHandler::Answer& answer_;
};

}  // namespace

void CollectingHandler::error(const HOQRequestErrorData& error) {
  events.push_back("error");
  errors.push_back(error);
}

void CollectingHandler::progress(const HOQRequestProgressData& progress) {
  events.push_back("progress");
  progressRecords.push_back(progress);
}

void CollectingHandler::answer(const HOQMsgWriter& answer, const HOQRequestErrorData& outcome) {
  events.push_back("answer");
  answers.push_back({-1, outcome.code, outcome.message, {}});
  AnswerSink sink(answers.back());
  answer.write(sink);
}

std::vector<std::string> CollectingHandler::messages() const {
  std::vector<std::string> texts;
  for (const HOQRequestErrorData& record : errors) texts.push_back(record.message);
  return texts;
}

}  // namespace HOQ::test
