// The plugins of the loader's tests. FAKE_NAME is the plugin's name; each further FAKE_... takes
// something away from a plugin that loads.
#include <stdexcept>
#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQVersion.h>

#define JOIN_(a, b) a##b
#define JOIN(a, b) JOIN_(a, b)
#define TEXT_(a) #a
#define TEXT(a) TEXT_(a)

HOQ_REQUIRES_FRAMEWORK;

#ifndef FAKE_ANSWER
#define FAKE_ANSWER 0
#endif

namespace {

// Set by the test: what the entry points append their calls to.
std::string* calls = nullptr;

void note(const char* entryPoint) {
  if (calls != nullptr) *calls += std::string(entryPoint) + TEXT(FAKE_NAME) " ";
}

}  // namespace

extern "C" HOQ_EXPORT void JOIN(record, FAKE_NAME)(std::string* log) { calls = log; }

#ifndef FAKE_WITHOUT_INIT
extern "C" HOQ_EXPORT int JOIN(init, FAKE_NAME)() {
  note("init");
#ifdef FAKE_THROWS
  FAKE_THROWS;
#endif
  return FAKE_ANSWER;
}
#endif

#ifndef FAKE_WITHOUT_FINI
extern "C" HOQ_EXPORT int JOIN(fini, FAKE_NAME)() {
  note("fini");
#ifdef FAKE_FINI_THROWS
  throw std::runtime_error("fini");
#endif
  return 0;
}
#endif
