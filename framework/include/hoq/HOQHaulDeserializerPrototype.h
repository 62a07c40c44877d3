#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <hoq/HOQExport.h>
#include <hoq/HOQFunctional.h>
#include <hoq/HOQHaulSerializerBasePrototype.h>

namespace HOQ {

/// The receiving end of a transfer.
class HOQ_EXPORT HOQHaulDeserializerPrototype : public HOQFunctional,
                                                virtual public HOQHaulSerializerBasePrototype {
 public:
  ~HOQHaulDeserializerPrototype() override;

  /// Prepares the item that the parameters name and, where it has contents, begins to receive them
  /// from `end` beside the caller.
  virtual int startCopying(HOQChannelEndPtr end) = 0;

  /// Waits until everything was received. Called once, only after a startCopying() that began to
  /// receive.
  virtual int waitCopyingFinish() = 0;
};

}  // namespace HOQ
