#pragma once

#include <hoq/HOQExport.h>

namespace HOQ {

/// A service interface that plugins implement and the framework's registries create: the root of
/// all of them. An object of it serves one client's requests, one at a time.
class HOQ_EXPORT HOQFunctional {
 public:
  HOQFunctional() = default;
  HOQFunctional(const HOQFunctional&) = delete;
  HOQFunctional& operator=(const HOQFunctional&) = delete;
  virtual ~HOQFunctional();
};

}  // namespace HOQ
