#include <hoq/HOQHaulSerializerBaseLocalPrototype.h>

#include <utility>

#include <hoq/HOQChannelMemory.h>
#include <hoq/HOQErrorMessage.h>

namespace HOQ {

HOQHaulSerializerBaseLocalPrototype::HOQHaulSerializerBaseLocalPrototype(
    HOQAccessProviderPtr access)
    : HOQRequestModificatorLocal(std::move(access)) {}
HOQHaulSerializerBaseLocalPrototype::~HOQHaulSerializerBaseLocalPrototype() = default;

int HOQHaulSerializerBaseLocalPrototype::init(const HOQConnectionInfo&, HOQHaulParamsPtr params) {
  if (!params) {
    setErrorMessage("An end of a transfer has no parameters");
    return -1;
  }
  setParams(std::move(params));
  return 0;
}

int HOQHaulSerializerBaseLocalPrototype::create() { return 0; }
int HOQHaulSerializerBaseLocalPrototype::finish() { return 0; }

HOQConnectorPtr HOQHaulSerializerBaseLocalPrototype::createConnectorFromSelf() {
  return newConnectorMemory();
}

}  // namespace HOQ
