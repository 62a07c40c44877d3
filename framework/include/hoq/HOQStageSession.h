#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <string>

#include <hoq/HOQChannelPrototype.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQMessage.h>

namespace HOQ {

/// One end of a transfer on another node, as this node drives it: the other node makes the object
/// and runs its stages. A transport implements it.
///
/// Operations return the other side's code, and -1 for failures on the way; a code other than 0
/// comes with the error text set. So does a 0 where the other side has left a text, which tells of
/// a failure as well; with no text there, this thread's own stays. One thread at a time. Dropping
/// the session ends the other side's object.
class HOQ_EXPORT HOQStageSession
    : public boost::intrusive_ref_counter<HOQStageSession, boost::thread_safe_counter> {
 public:
  virtual ~HOQStageSession();

  /// Makes the object from its parameters. It may be sent with the first stage and fail there.
  virtual int create(const HOQMessage& params) = 0;

  /// Opens the channel that leads to the object: its far end is handed to callWithHandle().
  virtual HOQConnectorPtr connector() = 0;

  /// Runs a stage and waits for its result.
  virtual int call(const std::string& stage) = 0;

  /// The same, with an end of a channel that connector() opened.
  virtual int callWithHandle(const std::string& stage, HOQChannelEndPtr end) = 0;

  /// Ends the session. A second call does nothing.
  virtual int finish() = 0;
};

using HOQStageSessionPtr = boost::intrusive_ptr<HOQStageSession>;

}  // namespace HOQ
