#pragma once

#include <hoq/HOQExport.h>
#include <hoq/HOQFunctionalFactory.h>
#include <hoq/HOQMsgWriter.h>
#include <hoq/HOQRequestErrorData.h>
#include <hoq/HOQRequestModificator.h>

namespace HOQ {

/// The request frame of an implementation that works in this process.
///
/// A command that answers with data stands between beginCommand() and one of the two ends; a
/// command that only returns a code needs neither.
class HOQ_EXPORT HOQRequestLocal : public HOQRequestModificator {
 public:
  /// `access` may be empty.
  explicit HOQRequestLocal(HOQAccessProviderPtr access);

  const HOQAccessProviderPtr& getAccess() const { return access_; }

 protected:
  /// Opens a command. Commands do not nest: a second one before the end is a fatal assertion.
  void beginCommand();

  /// Closes the command. Returns the record's code.
  int endCommand(const HOQRequestErrorData& outcome);

  /// Closes the command and hands answer and outcome to the context's handler, if there is one.
  /// Takes `answer` over and deletes it. Returns the record's code.
  int endCommandWithAnswer(HOQMsgWriter* answer, const HOQRequestErrorData& outcome);

  /// Receiver of this request's news; may be empty.
  const HOQRequestHandlerPtr& getProgressHandler() const { return getContext()->getHandler(); }

 private:
  const HOQAccessProviderPtr access_;
  bool inCommand_ = false;
};

}  // namespace HOQ
