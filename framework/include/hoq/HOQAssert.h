#pragma once

#include <hoq/HOQExport.h>

namespace HOQ {

/// Writes one line with the broken condition and its place to standard error, and aborts.
[[noreturn]] HOQ_EXPORT void assertionFailed(const char* condition, const char* file, int line);

}  // namespace HOQ

/// A condition that only a programming error breaks. Checked in every build type.
#define HOQ_ASSERT(condition) \
  ((condition) ? static_cast<void>(0) : ::HOQ::assertionFailed(#condition, __FILE__, __LINE__))
