#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include <hoq/HOQExport.h>

namespace HOQ {

/// An open way to another node, on which a request may be made to run. What a transport connects
/// with derives from it.
class HOQ_EXPORT HOQConnectionPrototype
    : public boost::intrusive_ref_counter<HOQConnectionPrototype, boost::thread_safe_counter> {
 public:
  virtual ~HOQConnectionPrototype();
};

using HOQConnectionPtr = boost::intrusive_ptr<HOQConnectionPrototype>;

}  // namespace HOQ
