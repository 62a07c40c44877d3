#include "filer/HOQFilerLocal.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <utility>

#include "routine/HOQFileRoutineLin.h"

namespace HOQ {

HOQFilerLocal::HOQFilerLocal(HOQAccessProviderPtr access)
    : HOQRequestModificatorLocal<HOQFiler>(std::move(access)) {}

HOQFilerLocal::~HOQFilerLocal() = default;

boost::shared_ptr<HOQFileRoutine> HOQFilerLocal::createRoutine(const std::string& directory) {
  return boost::make_shared<HOQFileRoutineLin>(directory);
}

bool HOQFilerLocal::refused(int level) {
  return HOQAccessChecker::accessCheck(HOQAccessChecker::getClientContext(), level) != 0;
}

}  // namespace HOQ
