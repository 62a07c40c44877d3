#pragma once

#include <hoq/HOQRequestLocal.h>

namespace HOQ {

/// Binds a request frame to the functional whose requests it runs. `Frame` is where they run:
/// HOQRequestLocal for this process.
template <class Functional, class Frame = HOQRequestLocal>
class HOQRequestModificatorImpl : public Frame {
 public:
  using Frame::Frame;
};

}  // namespace HOQ
