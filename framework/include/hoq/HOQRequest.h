#pragma once

#include <hoq/HOQExport.h>
#include <hoq/HOQRequestContext.h>

namespace HOQ {

/// The root of everything that runs commands for a client: it has a context.
/// One thread at a time.
class HOQ_EXPORT HOQRequest {
 public:
  HOQRequest();
  HOQRequest(const HOQRequest&) = delete;
  HOQRequest& operator=(const HOQRequest&) = delete;
  virtual ~HOQRequest();

  /// A new context with everything that the current one says.
  virtual HOQRequestContextPtr createContext() const;

  /// The context of the commands that run now; never empty.
  const HOQRequestContextPtr& getContext() const { return context_; }

 protected:
  HOQRequestContextPtr context_;
};

}  // namespace HOQ
