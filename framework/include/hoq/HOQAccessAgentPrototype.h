#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <hoq/HOQAccessProviderPrototype.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQRequestHandlerPrototype.h>

namespace HOQ {

class HOQEnvironmentCache;  // none is kept by this framework: pass empty
class HOQEventLoop;         // likewise

/// A provider that connects to the environment that it leads to.
class HOQ_EXPORT HOQAccessAgentPrototype : public HOQAccessProviderPrototype {
 public:
  /// A fresh agent of the registered transport; empty, with the error text set, when this process
  /// has none. The arguments are for hosts that share such objects, and may be null.
  static boost::intrusive_ptr<HOQAccessAgentPrototype> createInstance(HOQEnvironmentCache* cache,
                                                                      HOQEventLoop* loop,
                                                                      void* context);

  /// Connects to `connection`, and waits for it. News on the way go to `progress` (may be empty).
  /// 0, after which getEID() says where this leads; or a code with the error text set: kNodeRefused
  /// or kNodeUnreachable where that is it, else -1.
  virtual int initializeSync(const HOQConnectionInfo& connection,
                             HOQRequestHandlerPtr progress) = 0;
};

using HOQAccessAgentPtr = boost::intrusive_ptr<HOQAccessAgentPrototype>;

/// What connects this process to others. Libraries that speak a network register one, once,
/// before the first transfer; it must outlive the last. A process without one still transfers
/// within itself.
class HOQ_EXPORT HOQTransport {
 public:
  virtual ~HOQTransport();

  virtual HOQAccessAgentPtr createAgent() = 0;

  /// Null takes it away. Any thread.
  static void registerTransport(HOQTransport* transport);
  static HOQTransport* registered();
};

}  // namespace HOQ
