#include <hoq/HOQRequestAgent.h>

#include <utility>

namespace HOQ {

HOQRequestAgent::HOQRequestAgent(const HOQEID& eid, HOQAccessProviderPtr access)
    : eid_(eid), access_(std::move(access)) {}
HOQRequestAgent::~HOQRequestAgent() = default;

}  // namespace HOQ
