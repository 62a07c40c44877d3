#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "spawner/WorkerPlan.h"

namespace HOQ::agent {

/// In a fresh child of `parent`: becomes what `plan` says and then `program`, with `control` as
/// its end of the control socket; what keeps it from that is said there. `folders` are shown to a
/// confined worker beside its roots; `group` is its control group, empty without one. Never
/// returns.
[[noreturn]] void becomeWorker(const WorkerPlan& plan, int control, const std::string& program,
                               const std::vector<std::string>& folders, const std::string& group,
                               pid_t parent);

}  // namespace HOQ::agent
