#pragma once

#include "engine/FileOperate.h"

namespace HOQ {

/// Changes the owner of items. Links pass the change on to what they lead to.
class ChownOperate : public FileOperate {
 public:
  ChownOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions);
  /// Releases the owner.
  ~ChownOperate() override;

  int operate(const char* name) override;

  /// Finds the owner once, before the walk: from names (null group: left as it is) or from ids.
  /// A failure is reported of the working directory, in the words of `format`, which has a %s for
  /// each of the two (or the first) of them. 0, or the routine's code.
  template <class User, class Group>
  int set(User user, Group group, const char* format);

  void* owner = nullptr;  // the routine's handle
};

/// The two instances.
extern template int ChownOperate::set(const char* user, const char* group, const char* format);
extern template int ChownOperate::set(unsigned uid, unsigned gid, const char* format);

}  // namespace HOQ
