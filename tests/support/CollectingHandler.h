#pragma once

#include <limits>
#include <string>
#include <vector>

#include <hoq/HOQFileType.h>
#include <hoq/HOQRequestHandlerPrototype.h>
#include <boost/smart_ptr/shared_ptr.hpp>

namespace HOQ::test {

/// A request's receiver that keeps what it is told, in order. One thread.
class CollectingHandler : public HOQRequestHandlerPrototype {
 public:
  struct Answer {
    int tag;
    int code;
    std::string message;
    std::vector<boost::shared_ptr<HOQFileType>> records;
  };

  void error(const HOQRequestErrorData& error) override;
  void progress(const HOQRequestProgressData& progress) override;
  void answer(const HOQMsgWriter& answer, const HOQRequestErrorData& outcome) override;
  bool itemReached() override { return ++itemsReached <= mostItems; }

  /// The messages of `errors`.
  std::vector<std::string> messages() const;

  std::vector<HOQRequestErrorData> errors;
  std::vector<HOQRequestProgressData> progressRecords;
  std::vector<Answer> answers;
  std::vector<std::string> events;  // "error", "progress" and "answer", as they came
  long itemsReached = 0;
  long mostItems = std::numeric_limits<long>::max();  // behind these no more work is wanted
};

using CollectingHandlerPtr = boost::intrusive_ptr<CollectingHandler>;

}  // namespace HOQ::test
