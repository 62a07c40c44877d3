#pragma once

#include <string>

#include "config/Configuration.h"
#include "tls/Result.h"

namespace HOQ::agent {

/// The text of a configuration's file, at most 1 MiB. kUsage without the file's name. With
/// `onlyRoots` the file, and every folder that leads to it, must belong to root, and nobody else
/// may be able to write there: what it says is done with root's rights.
tls::Result<std::string> configurationText(const std::string& file, bool onlyRoots);

/// Reads `file` against `surroundings`; started as root, it must be only root's.
ReadConfiguration readConfiguration(const std::string& file, const Surroundings& surroundings);

/// This process's own. Its functions ask the system.
Surroundings currentSurroundings();

}  // namespace HOQ::agent
