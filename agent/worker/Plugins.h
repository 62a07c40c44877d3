#pragma once

#include <string>

#include <hoq/HOQPluginLoader.h>

namespace HOQ::agent {

/// Loads every plugin of `folder`, the files libHOQ*.so in the order of their names; an empty name
/// means the folder beside this program. Returns why not, or nothing: a folder without any plugin,
/// or one that does not load.
std::string loadPlugins(HOQPluginLoader& loader, const std::string& folder);

}  // namespace HOQ::agent
