#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <string>

#include <hoq/HOQConnectionPrototype.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQRequestHandlerPrototype.h>

namespace HOQ {

/// What surrounds the commands of one request: where their news go, and how the client wants them
/// run. Used by the request's thread.
class HOQ_EXPORT HOQRequestContext
    : public boost::intrusive_ref_counter<HOQRequestContext, boost::thread_safe_counter> {
 public:
  virtual ~HOQRequestContext();

  /// The receiver of errors, progress and answers; may be empty.
  const HOQRequestHandlerPtr& getHandler() const { return handler; }

  HOQRequestHandlerPtr handler;
  HOQConnectionPtr connection;  // run there; empty: here
  std::string remoteTarget;     // the environment to run in; empty: the provider's own
  bool remoteForced = false;    // even where the target is this node
  bool exclusive = false;       // no other request of the session beside it
  std::string session;          // the session that the request belongs to; may be empty
};

using HOQRequestContextPtr = boost::intrusive_ptr<HOQRequestContext>;

}  // namespace HOQ
