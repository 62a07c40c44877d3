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
  explicit RecordSink(FilerCall& call) : call_(call) {}

  void fileTypes(int tag, const FileTypes& records) override {
    tag_ = tag;
    sendRecords(call_, records);
  }

  int tag() const { return tag_; }

 private:
  FilerCall& call_;
  int tag_ = 0;
};

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
  flatten(records, [&call](wire::FilerEvent&& batch, std::size_t) {
    return call.send(std::move(batch), false);
  });
}

void EventHandler::error(const HOQRequestErrorData& error) {
  tell(call_, [&] {
    if (call_.beforeRecord) call_.beforeRecord();
    wire::FilerEvent event;
    toWire(error, *event.mutable_error());
    (void)call_.send(std::move(event), true);
  });
}

void EventHandler::progress(const HOQRequestProgressData& progress) {
  tell(call_, [&] {
    if (call_.beforeRecord) call_.beforeRecord();
    wire::FilerEvent event;
    toWire(progress, *event.mutable_progress());
    (void)call_.send(std::move(event), true);
  });
}

bool EventHandler::itemReached() { return !call_.gone(); }

void EventHandler::answer(const HOQMsgWriter& answer, const HOQRequestErrorData& outcome) {
  tell(call_, [&] {
    RecordSink sink(call_);
    answer.write(sink);
    wire::FilerEvent event;
    event.mutable_answer()->set_tag(sink.tag());
    event.mutable_answer()->set_code(outcome.code);
    event.mutable_answer()->set_message(outcome.message);
    (void)call_.send(std::move(event), false);
  });
}

}  // namespace HOQ::transport
