#pragma once

#include <hoq/HOQExport.h>

namespace HOQ {

class HOQMessageIterator;

/// What items that a request creates are given: a mode word laid out as st_mode, file type bits
/// included.
class HOQ_EXPORT HOQSecurityAttributes {
 public:
  HOQSecurityAttributes(int mode) : value(mode) {}
  HOQSecurityAttributes(const HOQSecurityAttributes&) = default;
  HOQSecurityAttributes& operator=(const HOQSecurityAttributes&) = default;
  virtual ~HOQSecurityAttributes();

  int value;

  /// The element of a message that carries the mode word. Records hold these attributes beside
  /// elements of their own, none of which has this number.
  static constexpr int kModeElement = 1158;

  /// Always 0: what is not there stays as it was.
  struct HOQ_EXPORT Writer {
    int operator()(HOQMessageIterator& it, const HOQSecurityAttributes& attributes) const;
  };
  struct HOQ_EXPORT Reader {
    int operator()(const HOQMessageIterator& it, HOQSecurityAttributes& attributes) const;
  };
};

}  // namespace HOQ
