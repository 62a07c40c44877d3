#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <hoq/HOQExport.h>
#include <hoq/HOQFunctional.h>
#include <hoq/HOQHaulSerializerBasePrototype.h>

namespace HOQ {

/// The sending end of a transfer.
class HOQ_EXPORT HOQHaulSerializerPrototype : public HOQFunctional,
                                              virtual public HOQHaulSerializerBasePrototype {
 public:
  ~HOQHaulSerializerPrototype() override;

  /// Sends the item that the parameters name into `end`, in the calling thread.
  virtual int copy(HOQChannelEndPtr end) = 0;
};

}  // namespace HOQ
