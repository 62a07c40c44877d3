#include "server/EventHandler.h"

#include <exception>
#include <utility>

#include "codec/FlatRecords.h"
#include "codec/Requests.h"
#include "server/FilerCall.h"

namespace HOQ::transport {
namespace {

namespace wire = hoq::v1;

class RecordSink final : public HOQMsgSink {
 public:
  explicit RecordSink(RecordBatches& batches) : batches_(batches) {}

  void fileTypes(int tag, const FileTypes& records) override {
    tag_ = tag;
    for (const auto& record : records)
      if (!batches_.add(*record)) return;
  }

  int tag() const { return tag_; }

 private:
  RecordBatches& batches_;
  int tag_ = 0;
};

RecordBatches::Take sendBatches(FilerCall& call) {
  return [&call](wire::FilerEvent&& batch, std::size_t) {
    return call.send(std::move(batch), FilerCall::Haste::kNone);
  };
}

/// A handler must not throw; a call that cannot be told something any more is broken off.
template <class Tell>
void tell(FilerCall& call, const Tell& what) {
  try {
    what();
  } catch (const std::exception&) {
    call.breakOff("The node could not tell what happened");
  }
}

}  // namespace

void sendRecords(FilerCall& call, const HOQMsgSink::FileTypes& records) {
  flatten(records, sendBatches(call));
}

EventHandler::EventHandler(FilerCall& call) : call_(call), batches_(sendBatches(call)) {}

void EventHandler::error(const HOQRequestErrorData& error) {
  tell(call_, [&] {
    if (call_.beforeRecord) call_.beforeRecord();
    (void)batches_.flush();  // what came before the error; a client that is gone misses it
    wire::FilerEvent event;
    toWire(error, *event.mutable_error());
    (void)call_.send(std::move(event), FilerCall::Haste::kNow);
  });
}

void EventHandler::progress(const HOQRequestProgressData& progress) {
  tell(call_, [&] {
    if (call_.beforeRecord) call_.beforeRecord();
    wire::FilerEvent event;
    toWire(progress, *event.mutable_progress());
    (void)call_.send(std::move(event), FilerCall::Haste::kSoon);
  });
}

bool EventHandler::itemReached() { return !call_.gone(); }

bool EventHandler::record(const boost::shared_ptr<HOQFileType>& record) {
  bool wanted = false;
  tell(call_, [&] { wanted = batches_.add(*record); });
  return wanted;
}

void EventHandler::answer(const HOQMsgWriter& answer, const HOQRequestErrorData& outcome) {
  tell(call_, [&] {
    RecordSink sink(batches_);
    answer.write(sink);
    (void)batches_.flush();  // a client that is gone misses it
    wire::FilerEvent event;
    event.mutable_answer()->set_tag(sink.tag());
    event.mutable_answer()->set_code(outcome.code);
    event.mutable_answer()->set_message(outcome.message);
    (void)call_.send(std::move(event), FilerCall::Haste::kNone);
  });
}

}  // namespace HOQ::transport
