#pragma once

#include <hoq/HOQExport.h>
#include <hoq/HOQGUIDBase.h>

namespace HOQ {

/// Identifies an environment: a node, or a container on it. A fresh one is not valid.
class HOQ_EXPORT HOQEID : public HOQGUIDBase {
 public:
  using HOQGUIDBase::HOQGUIDBase;

  /// The identifier of no environment.
  static const HOQEID EID_INVALID;
};

}  // namespace HOQ
