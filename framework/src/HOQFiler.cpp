#include <hoq/HOQFiler.h>

namespace HOQ {

HOQFiler::HOQFiler() : cred(HOQUserCredentials::kNone, HOQUserCredentials::kNone) {}
HOQFiler::~HOQFiler() = default;

}  // namespace HOQ
