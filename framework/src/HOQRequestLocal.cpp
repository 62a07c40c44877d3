#include <hoq/HOQRequestLocal.h>

#include <memory>
#include <utility>

#include <hoq/HOQAssert.h>

namespace HOQ {

HOQRequestLocal::HOQRequestLocal(HOQAccessProviderPtr access) : access_(std::move(access)) {}

void HOQRequestLocal::beginCommand() {
  HOQ_ASSERT(!inCommand_);
  inCommand_ = true;
}

int HOQRequestLocal::endCommand(const HOQRequestErrorData& outcome) {
  inCommand_ = false;
  noteOutcome(outcome.code);
  return outcome.code;
}

int HOQRequestLocal::endCommandWithAnswer(HOQMsgWriter* answer,
                                          const HOQRequestErrorData& outcome) {
  const std::unique_ptr<HOQMsgWriter> owned(answer);
  const HOQRequestHandlerPtr handler = getProgressHandler();  // it may set another one meanwhile
  if (handler) handler->answer(*owned, outcome);
  return endCommand(outcome);
}

}  // namespace HOQ
