#pragma once

#include <string>
#include <vector>

#include <hoq/HOQExport.h>

namespace HOQ {

/// Loads plugins and calls their entry points: a file libNAME.so exports initNAME and finiNAME,
/// both int(), under unmangled names.
///
/// A plugin's code stays mapped until the process ends, since objects that its factories made may
/// outlive it; unloading means that finiNAME took its factories out of the registries. Not for
/// several threads at once.
class HOQ_EXPORT HOQPluginLoader {
 public:
  HOQPluginLoader() = default;
  HOQPluginLoader(const HOQPluginLoader&) = delete;
  HOQPluginLoader& operator=(const HOQPluginLoader&) = delete;

  /// Calls finiNAME of every plugin loaded here, the last first.
  ~HOQPluginLoader();

  /// Loads `file` (a path with at least one "/", or a bare name that the dynamic linker looks up)
  /// and calls its initNAME. Returns an empty string, or one line that names the file and says
  /// why not: it cannot be read or linked, was built for another version of the framework, lacks
  /// an entry point, or its initNAME failed or threw. After a failure nothing is left to call.
  [[nodiscard]] std::string load(const std::string& file);

 private:
  using EntryPoint = int (*)();
  std::vector<EntryPoint> loaded_;  // finiNAME of each plugin, in order of loading
};

}  // namespace HOQ
