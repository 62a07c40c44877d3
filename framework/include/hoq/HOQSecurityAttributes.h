#pragma once

#include <hoq/HOQExport.h>

namespace HOQ {

/// What items that a request creates are given: a mode word laid out as st_mode, file type bits
/// included.
class HOQ_EXPORT HOQSecurityAttributes {
 public:
  HOQSecurityAttributes(int mode) : value(mode) {}
  HOQSecurityAttributes(const HOQSecurityAttributes&) = default;
  HOQSecurityAttributes& operator=(const HOQSecurityAttributes&) = default;
  virtual ~HOQSecurityAttributes();

  int value;
};

}  // namespace HOQ
