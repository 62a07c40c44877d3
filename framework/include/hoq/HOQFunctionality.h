#pragma once

#include <hoq/HOQExport.h>

namespace HOQ {

/// The process's one `Kit`: a set of registries that every library of the process shares.
///
/// The kit is a template's static member. The compiler guards its construction with a byte that
/// all loaded libraries share as well, so whichever of them initialises first constructs the kit,
/// once, and registers the exit handler that destroys it; kits are destroyed in reverse order.
/// A library that uses a kit before main() names it in its own static initialiser by kit().
///
/// Construction happens while libraries are loaded, one at a time; kit() may then be called by
/// any thread. What the kit itself allows is its own affair.
template <class Kit>
class HOQ_EXPORT HOQFunctionality {
 public:
  static Kit& kit() { return m_kit; }

 private:
  static Kit m_kit;
};

template <class Kit>
Kit HOQFunctionality<Kit>::m_kit;

}  // namespace HOQ
