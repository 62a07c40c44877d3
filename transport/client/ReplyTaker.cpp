#include "client/ReplyTaker.h"

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQFileDownloadInfo.h>
#include <hoq/HOQFileUploadInfo.h>
#include <hoq/HOQResultCodes.h>

#include <memory>
#include <utility>

#include "codec/Requests.h"

namespace HOQ::transport {

ReplyTaker::~ReplyTaker() {
  if (open_) (void)open_->close();  // the request has failed already
}

bool ReplyTaker::take(hoq::v1::FilerReply& reply) {
  for (Event& event : *reply.mutable_events()) {
    if (!done_ && take(event)) continue;
    nonsense_ = !failed_;
    return false;
  }
  return !done_;
}

bool ReplyTaker::take(Event& event) {
  switch (event.kind_case()) {
    case Event::kError:
      if (places_.handler) places_.handler->error(fromWire(event.error()));
      return true;
    case Event::kProgress:
      if (places_.handler) places_.handler->progress(fromWire(event.progress()));
      return true;
    case Event::kRecords:
      return takeRecords(*event.mutable_records());
    case Event::kAnswer:
      return answer(event.answer());
    case Event::kItem:
      return takeItem(event.item());
    case Event::kData:
      return takeData(event.data());
    case Event::kResult:
      return takeResult(*event.mutable_result());
    case Event::KIND_NOT_SET:
      break;
  }
  return true;  // what a newer node says beside the rest
}

bool ReplyTaker::takeRecords(Event::Records& batch) {
  if (places_.records == nullptr) return false;
  for (hoq::v1::FileRecord& record : *batch.mutable_records())
    if (!trees_.add(std::move(record))) return false;
  if (!places_.handsOver) return true;
  HOQFiler::FileTypes whole;
  trees_.moveWholeTo(whole);
  return handOver(whole);
}

/// False: the handler wants no more, as it is told when a request here ends by that.
bool ReplyTaker::handOver(const HOQFiler::FileTypes& records) {
  for (const boost::shared_ptr<HOQFileType>& record : records) {
    if (places_.handler->record(record)) continue;
    failed_ = true;
    const std::unique_ptr<HOQMsgWriter> none(newHOQWriterData(places_.records, kFileTypesTag));
    places_.handler->answer(*none, HOQRequestErrorData(kFailed, ""));
    return false;
  }
  return true;
}

bool ReplyTaker::answer(const Event::Answer& answer) {
  HOQFiler::FileTypes none;
  if (places_.handsOver) {
    trees_.moveTo(none);
    if (!handOver(none)) return false;
    none.clear();
  }
  answered_ = true;
  answerCode_ = answer.code();
  HOQFiler::FileTypes& records = places_.records != nullptr ? *places_.records : none;
  trees_.moveTo(records);
  if (!places_.handler) return true;
  const std::unique_ptr<HOQMsgWriter> writer(newHOQWriterData(&records, answer.tag()));
  places_.handler->answer(*writer, HOQRequestErrorData(answer.code(), answer.message()));
  return true;
}

bool ReplyTaker::takeItem(const Event::Item& item) {
  const auto update = [&item](HOQFileTransferInfo& record) {
    record.size = item.size();
    record.offset = item.offset();
  };
  if (places_.uploads != nullptr && item.number() < places_.uploads->size()) {
    update(*(*places_.uploads)[item.number()]);
    return true;
  }
  if (places_.downloads == nullptr || item.number() >= places_.downloads->size()) return false;
  update(*(*places_.downloads)[item.number()]);
  return takeStep(item.number(), item.step());
}

bool ReplyTaker::takeStep(std::size_t number, Event::Item::Step step) {
  switch (step) {
    case Event::Item::STEP_START:
      if (open_) return false;
      if ((*places_.downloads)[number]->start() != 0) return failHere();
      open_ = (*places_.downloads)[number];
      return true;
    case Event::Item::STEP_END: {
      const auto ended = std::exchange(open_, nullptr);
      if (!ended) return false;
      return ended->close() == 0 || failHere();
    }
    default:
      return true;
  }
}

bool ReplyTaker::takeData(const std::string& bytes) {
  if (!open_) return false;
  return open_->append(bytes.data(), bytes.size()) == 0 || failHere();
}

/// As the node's own request reports it.
bool ReplyTaker::failHere() {
  failed_ = true;
  code_ = kFailed;
  if (places_.handler) places_.handler->error(HOQRequestErrorData(kFailed, getErrorMessage()));
  return false;
}

bool ReplyTaker::takeResult(Event::Result& result) {
  done_ = true;
  code_ = result.code();
  if (places_.records != nullptr) trees_.moveTo(*places_.records);  // of a search
  if (places_.target != nullptr && result.has_target())
    *places_.target = std::move(*result.mutable_target());
  if (!result.error_text().empty()) setErrorMessage("%s", result.error_text());
  return true;
}

}  // namespace HOQ::transport
