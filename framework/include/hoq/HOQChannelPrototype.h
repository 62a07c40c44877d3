#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <string>

#include <hoq/HOQChannelEndPrototype.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQExport.h>

namespace HOQ {

/// An open data channel: a pair of ends. What is written to the one is read from the other.
class HOQ_EXPORT HOQChannelPrototype
    : public boost::intrusive_ref_counter<HOQChannelPrototype, boost::thread_safe_counter> {
 public:
  virtual ~HOQChannelPrototype();

  /// The end that the sending side works with. The same one at every call.
  virtual HOQChannelEndPtr getSourceEnd() = 0;

  /// The end that the receiving side works with. Where that is another node, it only stands for
  /// the node's end and is handed to the stage call that begins the receiving.
  virtual HOQChannelEndPtr getDestinationEnd() = 0;

  /// Drops the channel's own hold of its ends, so that an end that nobody uses any more counts as
  /// gone at the other side.
  virtual void release() = 0;

  /// Gives both ends up because of `text`, those included that others hold and release() has let
  /// go of. By default asks the ends that the channel still holds.
  virtual void giveUp(const std::string& text);

  /// Why either end gave up, or how the channel failed; empty while all is well. After release()
  /// as well; by default it is then empty.
  virtual std::string failure();
};

using HOQChannelPtr = boost::intrusive_ptr<HOQChannelPrototype>;

/// Opens data channels.
class HOQ_EXPORT HOQConnectorPrototype
    : public boost::intrusive_ref_counter<HOQConnectorPrototype, boost::thread_safe_counter> {
 public:
  virtual ~HOQConnectorPrototype();

  /// A fresh channel for `connection`; empty, with the error text set, when none can be opened.
  virtual HOQChannelPtr connect(const HOQConnectionInfo& connection) = 0;
};

using HOQConnectorPtr = boost::intrusive_ptr<HOQConnectorPrototype>;

}  // namespace HOQ
