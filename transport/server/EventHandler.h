#pragma once

#include <hoq/HOQMsgWriter.h>
#include <hoq/HOQRequestHandlerPrototype.h>

#include "codec/FlatRecords.h"

namespace HOQ::transport {

class FilerCall;

/// The receiver of an operation's news that sends them to the client of its call, which outlives
/// it. What cannot be delivered is dropped.
class EventHandler final : public HOQRequestHandlerPrototype {
 public:
  explicit EventHandler(FilerCall& call);

  void error(const HOQRequestErrorData& error) override;
  void progress(const HOQRequestProgressData& progress) override;
  void answer(const HOQMsgWriter& answer, const HOQRequestErrorData& outcome) override;

  /// What the client asked for ends with the client.
  bool itemReached() override;

  /// Batches of records leave while the list goes on, which waits where the client is slower, and
  /// ends when it is gone.
  bool takesRecords() const override { return true; }
  bool record(const boost::shared_ptr<HOQFileType>& record) override;

 private:
  FilerCall& call_;
  RecordBatches batches_;
};

/// Sends records without an answer.
void sendRecords(FilerCall& call, const HOQMsgSink::FileTypes& records);

}  // namespace HOQ::transport
