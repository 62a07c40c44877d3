#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <optional>
#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQMessage.h>

namespace HOQ {

/// How a transfer of a queue ended.
struct HOQHaulOutcome {
  int code = 0;       // 0: every stage and finish came to a good end; else what failed said
  std::string stage;  // that failed; "finish" where that did
  std::string text;   // of the failure
};

/// Transfers to the receiving end on another node that are sent whole, one behind the other,
/// without waiting for how each of them ends. The node runs them in this order, each with its
/// stages as if they were called; behind one that fails, none is begun.
///
/// A transport implements it. One thread at a time. Dropping a queue ends what is under way.
class HOQ_EXPORT HOQHaulQueue
    : public boost::intrusive_ref_counter<HOQHaulQueue, boost::thread_safe_counter> {
 public:
  virtual ~HOQHaulQueue();

  /// Sends a transfer, sooner or later: its parameters, and all bytes of its channel; without
  /// `contents` the receiving end is started and no more. How many may be under way is the
  /// caller's affair. 0, or -1 with the error text set when it cannot be sent; it is then not
  /// under way.
  virtual int send(const HOQMessage& params, std::optional<std::string> contents) = 0;

  /// Waits for the outcome of the oldest transfer that is under way. After one that is not 0 the
  /// queue is of no more use.
  virtual HOQHaulOutcome await() = 0;
};

using HOQHaulQueuePtr = boost::intrusive_ptr<HOQHaulQueue>;

}  // namespace HOQ
