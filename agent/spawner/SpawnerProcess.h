#pragma once

#include <sys/types.h>

#include <string>

#include "config/Configuration.h"
#include "tls/Result.h"
#include "tls/UniqueFd.h"

namespace HOQ::agent {

/// A spawner that runs beside this process.
struct SpawnerProcess {
  pid_t pid = 0;
  tls::UniqueFd socket;  // the front's end, which does not block
};

/// Makes the spawner by fork(2): before there is a thread, a key, or a library that has state. It
/// starts `worker`, and reads the configuration again from the file that it came from, as `file`
/// names it from the folder that this process is in now.
tls::Result<SpawnerProcess> startSpawner(const Configuration& configuration,
                                         const Surroundings& surroundings,
                                         const std::string& worker);

/// Where hoq-worker lies, seen from this program: beside it, or in libexec. Empty if nowhere.
std::string findWorkerProgram();

}  // namespace HOQ::agent
