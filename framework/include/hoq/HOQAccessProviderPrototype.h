#pragma once

#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <string>

#include <hoq/HOQEID.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQHaulQueue.h>
#include <hoq/HOQStageSession.h>

namespace HOQ {

/// The way to one environment. A functional's object is made with the provider of the environment
/// that it works for; objects on this node are given a local one, or none. Shared by counted
/// pointers; any thread.
class HOQ_EXPORT HOQAccessProviderPrototype
    : public boost::intrusive_ref_counter<HOQAccessProviderPrototype, boost::thread_safe_counter> {
 public:
  virtual ~HOQAccessProviderPrototype();

  /// The environment that this provider leads to.
  virtual HOQEID getEID() const = 0;

  /// A session with the functional `name` there. Empty, with the error text set, when there is
  /// none: by default, as for a provider that leads to this process.
  virtual HOQStageSessionPtr openSession(const std::string& name);

  /// A queue of transfers to the functional `name` there. Empty where there is none, by default:
  /// sessions then do the same, each with its waits.
  virtual HOQHaulQueuePtr openQueue(const std::string& name);
};

}  // namespace HOQ
