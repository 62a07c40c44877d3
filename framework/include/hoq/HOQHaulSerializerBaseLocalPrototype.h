#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <vector>

#include <hoq/HOQExport.h>
#include <hoq/HOQHaulSerializerBasePrototype.h>
#include <hoq/HOQMessageIterator.h>
#include <hoq/HOQRequestModificatorLocal.h>

namespace HOQ {

/// An element that a stage message must carry, and the kind it must be of.
struct HOQRequiredElement {
  int id;
  HOQMessageElement::Kind kind;
  int within = 0;  // the child element that it stands in; 0: the message itself
};

/// An end of a transfer that works in this process: the request frame of its stages.
class HOQ_EXPORT HOQHaulSerializerBaseLocalPrototype
    : public HOQRequestModificatorLocal<HOQHaulSerializerBasePrototype>,
      virtual public HOQHaulSerializerBasePrototype {
 public:
  explicit HOQHaulSerializerBaseLocalPrototype(HOQAccessProviderPtr access);
  ~HOQHaulSerializerBaseLocalPrototype() override;

  int init(const HOQConnectionInfo& connection, HOQHaulParamsPtr params) override;
  int create() override;
  int finish() override;
  HOQConnectorPtr createConnectorFromSelf() override;

  /// For a client on another node, whose parameters come in a message: a fresh record of this
  /// end's kind, the elements that the message must carry, and the reading of it.
  virtual HOQHaulParamsPtr createParams() const = 0;
  virtual std::vector<HOQRequiredElement> requiredElements() const = 0;
  virtual int readParams(const HOQMessageIterator& it,
                         HOQHaulSerializerBaseParams& params) const = 0;
};

}  // namespace HOQ
