#include <hoq/GenExec.h>

namespace HOQ {

GenExec::~GenExec() = default;

void GenExec::saveEnv(const char* const* environment) {
  environment_.clear();
  for (; *environment != nullptr; ++environment) environment_.emplace_back(*environment);
  environmentSaved_ = true;
}

}  // namespace HOQ
