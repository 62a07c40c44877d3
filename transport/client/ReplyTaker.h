#pragma once

#include <hoq/v1/filer.pb.h>

#include <string>
#include <vector>

#include <hoq/HOQFiler.h>
#include <hoq/HOQRequestHandlerPrototype.h>

#include "codec/FlatRecords.h"

namespace HOQ::transport {

/// Does with a request's replies what the node's Filer would have done in this process. One thread.
class ReplyTaker {
 public:
  /// Where things go; null: nowhere. Not owned, but the handler.
  struct Places {
    HOQRequestHandlerPtr handler;
    HOQFiler::FileTypes* records = nullptr;
    bool handsOver = false;  // records go to the handler, one by one
    std::string* target = nullptr;
    const HOQFiler::UploadList* uploads = nullptr;
    const HOQFiler::DownloadList* downloads = nullptr;
  };

  explicit ReplyTaker(Places places) : places_(std::move(places)) {}
  ~ReplyTaker();
  ReplyTaker(const ReplyTaker&) = delete;
  ReplyTaker& operator=(const ReplyTaker&) = delete;

  /// False: no more is wanted; see failed() and isNonsense().
  bool take(hoq::v1::FilerReply& reply);

  bool done() const { return done_; }
  int code() const { return code_; }
  /// A list or stat has answered, with this code.
  bool answered() const { return answered_; }
  int answerCode() const { return answerCode_; }
  /// The caller's end of a download failed, which was reported, or it wants no more records.
  bool failed() const { return failed_; }
  /// What came is not what a node sends.
  bool isNonsense() const { return nonsense_; }

 private:
  using Event = hoq::v1::FilerEvent;

  bool take(Event& event);
  bool takeRecords(Event::Records& batch);
  bool handOver(const HOQFiler::FileTypes& records);
  bool answer(const Event::Answer& answer);
  bool takeItem(const Event::Item& item);
  bool takeStep(std::size_t number, Event::Item::Step step);
  bool takeData(const std::string& bytes);
  bool takeResult(Event::Result& result);
  bool failHere();

  const Places places_;
  RecordTrees trees_;
  boost::shared_ptr<HOQFileDownloadInfo> open_;
  bool done_ = false;
  bool answered_ = false;
  bool failed_ = false;
  bool nonsense_ = false;
  int code_ = -1;
  int answerCode_ = 0;
};

}  // namespace HOQ::transport
