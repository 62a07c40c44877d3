#pragma once

#include <string>
#include <vector>

#include "config/Configuration.h"
#include "front/Listeners.h"

namespace HOQ::agent {

// How a front that was started as root stops being root. Before there are threads.

/// What only root can open of `configuration`: TCP ports, and UNIX sockets in folders of root's.
/// The others are left to the front's user. Problems are added as "FILE:LINE: KEY: REASON".
Listeners::Opened openAsRoot(const Configuration& configuration,
                             std::vector<std::string>& problems);

/// Makes the folder `state` for the front's user where it is missing; its parent must be there.
/// Empty, or why not.
std::string makeStateFolder(const Configuration& configuration);

/// Becomes the user of `configuration`, with its groups and nothing else, and makes sure that there
/// is no way back. Empty, or why not: then the process is not to go on.
std::string dropRoot(const Configuration& configuration);

}  // namespace HOQ::agent
