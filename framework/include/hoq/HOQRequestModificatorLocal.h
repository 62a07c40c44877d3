#pragma once

#include <hoq/HOQRequestModificatorImpl.h>

namespace HOQ {

/// First base of every implementation that works in this process: the virtual operations of the
/// request frame come before its own.
template <class Functional>
class HOQRequestModificatorLocal : public HOQRequestModificatorImpl<Functional, HOQRequestLocal> {
 public:
  using HOQRequestModificatorImpl<Functional, HOQRequestLocal>::HOQRequestModificatorImpl;
};

}  // namespace HOQ
