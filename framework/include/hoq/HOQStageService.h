#pragma once

#include <memory>
#include <string>

#include <hoq/HOQChannelEndPrototype.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQMessage.h>

namespace HOQ {

/// The other side of a HOQStageSession: makes one end of a transfer in this process and runs its
/// stages for a client on another node. A transport's server drives it.
///
/// The thread's client (HOQAccessChecker::Scope) needs the right to read for a sending end, to
/// change for a receiving one; else 414. Codes other than 0 come with the error text set. A stage
/// may leave a text with the code 0: that is a failure too, for the client to judge. Each call
/// starts without a text, so that the client is sent code and text as they stand after it. A call
/// that cannot be run (an unknown functional or stage, a wrong order, parameters that lack an
/// element) changes nothing, and the service goes on. One thread at a time.
class HOQ_EXPORT HOQStageService {
 public:
  HOQStageService();
  /// Ends a transfer that is still under way: its channel end is given up and its thread joined.
  ~HOQStageService();
  HOQStageService(const HOQStageService&) = delete;
  HOQStageService& operator=(const HOQStageService&) = delete;

  /// Makes the object of that functional from its parameters.
  int create(const std::string& functional, HOQMessage& params);

  /// Whether the stage takes an end of a channel.
  static bool takesEnd(const std::string& stage);

  /// Runs a stage. `end` is empty for one that takes none.
  int call(const std::string& stage, HOQChannelEndPtr end);

  /// Ends the transfer. 0 only when the end came to a clean close, its channel's end then too; what
  /// a failed transfer created as a new file is removed.
  int finish();

 private:
  class Impl;
  const std::unique_ptr<Impl> impl_;
};

}  // namespace HOQ
