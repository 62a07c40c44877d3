#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <memory>
#include <string>

#include <hoq/HOQFiler.h>
#include <hoq/HOQRequestHandlerPrototype.h>

namespace HOQ::cli {

/// Where a command's requests run. Commands know nothing else of it, so one that speaks to another
/// node is another implementation. Its Filers are used by the thread that made the node.
class Node {
 public:
  virtual ~Node() = default;

  /// A new Filer whose relative paths start at `directory` (empty: the node's own rule) and whose
  /// requests send their news to `handler`. Never empty; throws CommandError when there is none.
  virtual boost::shared_ptr<HOQFiler> filer(const std::string& directory,
                                            HOQRequestHandlerPtr handler) = 0;

  /// Lets the calling thread, too, make and use Filers, as long as what it returns lives: which is
  /// not longer than the node, and ends on the same thread.
  class Stay {
   public:
    virtual ~Stay() = default;
  };
  virtual std::unique_ptr<Stay> enter() = 0;

  /// Whether a request could not be brought to its end because of the way to the node.
  virtual bool lost() const { return false; }
};

}  // namespace HOQ::cli
