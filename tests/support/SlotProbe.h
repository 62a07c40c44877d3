#pragma once

#include <cstring>

namespace HOQ::test {

/// The place of a virtual operation in its class's table, counted from 0. On this platform's
/// binary interface a pointer to a virtual member holds 1 plus the offset of its entry, and the
/// destructor takes the first two entries.
template <class Member>
int slotOf(Member member) {
  long held = 0;
  static_assert(sizeof member >= sizeof held);
  std::memcpy(&held, &member, sizeof held);
  if ((held & 1) == 0) return -1;  // not virtual
  return static_cast<int>((held - 1) / static_cast<long>(sizeof(void*)));
}

}  // namespace HOQ::test
