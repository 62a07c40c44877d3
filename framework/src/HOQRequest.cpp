#include <hoq/HOQRequest.h>

namespace HOQ {

HOQRequest::HOQRequest() : context_(new HOQRequestContext) {}
HOQRequest::~HOQRequest() = default;

HOQRequestContextPtr HOQRequest::createContext() const {
  return HOQRequestContextPtr(new HOQRequestContext(*context_));
}

}  // namespace HOQ
