#pragma once

#include <hoq/HOQExport.h>
#include <hoq/HOQRequestHandlerPrototype.h>

namespace HOQ {

/// The handler of a request that a client starts and follows in parts, such as an upload: it also
/// hears the request's end.
class HOQ_EXPORT HOQComplexRequestHandler : public HOQRequestHandlerPrototype {
 public:
  ~HOQComplexRequestHandler() override;

  /// The last record of the request.
  virtual void finished(const HOQRequestErrorData& outcome) = 0;
};

}  // namespace HOQ
