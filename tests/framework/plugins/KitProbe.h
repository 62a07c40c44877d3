#pragma once

#include <hoq/HOQExport.h>

namespace HOQ::test {

/// A kit that counts its instances. Known to the host program and to the probes.
struct HOQ_EXPORT HostKit {
  HostKit() { ++constructions; }
  inline static int constructions = 0;
};

/// A kit that only the probes know.
struct HOQ_EXPORT PluginKit {
  PluginKit() { ++constructions; }
  inline static int constructions = 0;
};

/// What a probe library exports as "probeKits": the kits as it sees them.
struct KitAddresses {
  const void* lib;
  const void* haul;
  const void* host;
  const void* plugin;
  int hostConstructions;
  int pluginConstructions;
};

}  // namespace HOQ::test
