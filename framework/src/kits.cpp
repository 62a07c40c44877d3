#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQLibFunctionality.h>

namespace HOQ {

HOQLibFunctionality::HOQLibFunctionality() = default;
HOQLibFunctionality::~HOQLibFunctionality() = default;

HOQHaulControlFactory::HOQHaulControlFactory() = default;
HOQHaulControlFactory::~HOQHaulControlFactory() = default;

// In this order: the transfers' kit is constructed after the services' and destroyed before it.
template class HOQFunctionality<HOQLibFunctionality>;
template class HOQFunctionality<HOQHaulControlFactory>;

}  // namespace HOQ
