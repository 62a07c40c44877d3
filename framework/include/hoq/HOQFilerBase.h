#pragma once

#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include <hoq/HOQExport.h>
#include <hoq/HOQFunctional.h>

namespace HOQ {

/// What is common to everything that serves files.
class HOQ_EXPORT HOQFilerBase : public HOQFunctional {
 public:
  /// A hold on an upload or download that is under way.
  class FileOperationControlHandler;
};

}  // namespace HOQ
