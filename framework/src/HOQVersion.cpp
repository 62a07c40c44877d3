#include <hoq/HOQVersion.h>

#include <cstdio>
#include <cstdlib>

#include <hoq/HOQAssert.h>

#define HOQ_TEXT_(token) #token
#define HOQ_TEXT(token) HOQ_TEXT_(token)

// The value says nothing, the name does: see HOQ_REQUIRES_FRAMEWORK.
extern "C" const int HOQ_FRAMEWORK_SYMBOL = 1;

namespace HOQ {

const char* frameworkVersion() {
  return HOQ_TEXT(HOQ_FRAMEWORK_MAJOR) "." HOQ_TEXT(HOQ_FRAMEWORK_MINOR);
}

void assertionFailed(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: broken condition: %s\n", file, line, condition);
  std::abort();
}

}  // namespace HOQ
