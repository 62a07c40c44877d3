#pragma once

#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include <hoq/HOQExport.h>
#include <hoq/HOQFunctional.h>

namespace HOQ {

/// What is common to everything that serves files.
class HOQ_EXPORT HOQFilerBase : public HOQFunctional {
 public:
  /// A client's hold on an upload or download that is under way. The request asks it between two
  /// pieces, in its own thread; whoever answers may live in another.
  class HOQ_EXPORT FileOperationControlHandler
      : public boost::intrusive_ref_counter<FileOperationControlHandler,
                                            boost::thread_safe_counter> {
   public:
    virtual ~FileOperationControlHandler();

    /// Whether the client wants the transfer to end where it stands. Must not block nor throw.
    virtual bool wantsEnd() const = 0;
  };
};

}  // namespace HOQ
