#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include <hoq/HOQUserCredentials.h>

#include "config/Configuration.h"

namespace HOQ::agent {

/// What a worker process is to be: all of it from the configuration, nothing from the front.
struct WorkerPlan {
  std::string client;  // for those who read ps(1)
  /// Ids alone count. Empty: the user of the spawner, which was started without root.
  std::optional<HOQUserCredentials> identity;
  bool mayRead = false;
  bool mayChange = false;
  std::string trouble;  // why it has no rights although the entry has; mostly empty
  mode_t umask = 022;
  std::vector<std::string> roots;  // empty: the whole system
  std::uint32_t descriptors = 0;
  std::uint32_t memoryMib = 0;  // 0: no limit
};

/// A plan, or why there is none: `text` is empty where `plan` holds one.
struct PlanOutcome {
  WorkerPlan plan;
  std::string text;
};

/// The plan for the entry called `entry` (empty: for clients that no entry names). `asRoot`: the
/// worker is to be the entry's user. Where there is no such user (any more) it is nobody, without
/// rights, so that its client is refused as such. Asks the system's databases as they are now.
PlanOutcome planFor(const Configuration& configuration, const std::string& entry, bool asRoot);

}  // namespace HOQ::agent
