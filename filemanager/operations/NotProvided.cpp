// Filer operations that have their place in the interface and are not provided by this version:
// the right is asked for as it will be.
#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQResultCodes.h>

#include "filer/HOQFilerLocal.h"

namespace HOQ {

int HOQFilerLocal::notProvided(int level) { return refused(level) ? kAccessRefused : kNotProvided; }

int HOQFilerLocal::copy(const Paths&, const HOQConnectionInfo&, const std::string&,
                        const HOQFilerOptions&, const HOQSecurityAttributes*) {
  return notProvided(HOQAccessChecker::kChange);
}

}  // namespace HOQ
