#pragma once

#include <optional>
#include <string>

#include <hoq/HOQExport.h>

namespace HOQ {

/// How a plugin carries the contents of files that it copies on its node. A setting of the whole
/// process, which its host chooses before it makes requests; answers, records and what is left
/// behind are the same either way. Any thread.
class HOQ_EXPORT HOQContentsEngine {
 public:
  enum Kind {
    kBlocks,  // block by block through this process; what holds unless a host chooses
    kKernel,  // by the system, as far as it does that, and in large pieces where it does not
  };

  static Kind chosen();
  static void choose(Kind kind);

  /// The engine called "blocks" or "kernel", as users write it; nothing for any other name.
  static std::optional<Kind> named(const std::string& name);
};

}  // namespace HOQ
