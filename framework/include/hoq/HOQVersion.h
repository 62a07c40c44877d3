#pragma once

#include <hoq/HOQExport.h>

#ifndef HOQ_FRAMEWORK_MAJOR
#define HOQ_FRAMEWORK_MAJOR 0
#define HOQ_FRAMEWORK_MINOR 1
#endif

#define HOQ_FRAMEWORK_JOIN_(prefix, major, minor) prefix##major##_##minor
#define HOQ_FRAMEWORK_JOIN(prefix, major, minor) HOQ_FRAMEWORK_JOIN_(prefix, major, minor)

/// The symbol that names this version of the framework's binary interface, for instance
/// hoqFrameworkVersion_0_1. The framework defines it; a plugin refers to it with
/// HOQ_REQUIRES_FRAMEWORK, so that a plugin of another version does not load at all
/// (HOQPluginLoader turns the dynamic linker's refusal into a sentence).
#define HOQ_FRAMEWORK_SYMBOL \
  HOQ_FRAMEWORK_JOIN(hoqFrameworkVersion_, HOQ_FRAMEWORK_MAJOR, HOQ_FRAMEWORK_MINOR)

extern "C" {
HOQ_EXPORT extern const int HOQ_FRAMEWORK_SYMBOL;
}

/// Stands once in a plugin's entry file.
#define HOQ_REQUIRES_FRAMEWORK                                                          \
  [[maybe_unused]] __attribute__((used)) static const int* const hoqRequiredFramework = \
      &HOQ_FRAMEWORK_SYMBOL

namespace HOQ {

/// The framework's version as people write it, for instance "0.1".
HOQ_EXPORT const char* frameworkVersion();

}  // namespace HOQ
