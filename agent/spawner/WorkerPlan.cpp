#include "spawner/WorkerPlan.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <hoq/HOQIdentity.h>

#include "config/ClientName.h"

namespace HOQ::agent {
namespace {

constexpr char kNobody[] = "nobody";

/// Nobody's ids where the databases have no account: those that the system itself shows for what
/// it cannot map.
constexpr std::uint32_t kOverflowId = 65534;

HOQUserCredentials withoutAccount(std::uint32_t uid) {
  HOQUserCredentials identity = emptyCredentials();
  identity.uid = uid;
  identity.gids = {kOverflowId};
  return identity;
}

/// Users without an account may connect to a UNIX socket, and are who they are.
HOQUserCredentials ofPeer(uid_t uid) {
  HOQUserCredentials identity = emptyCredentials();
  if (credentialsOf(static_cast<std::uint32_t>(uid), identity) == 0) return identity;
  return withoutAccount(uid);
}

HOQUserCredentials ofNobody() {
  HOQUserCredentials identity = emptyCredentials();
  const bool known = credentialsOf(kNobody, identity) == 0 && identity.uid != 0;
  if (known && std::find(identity.gids.begin(), identity.gids.end(), 0u) == identity.gids.end()) {
    return identity;
  }
  return withoutAccount(kOverflowId);
}

void giveNobody(WorkerPlan& plan) {
  plan.identity = ofNobody();
  plan.mayRead = plan.mayChange = false;
  plan.roots.clear();
}

/// Fills in who the worker is. Empty, or why that cannot be.
std::string addIdentity(const ClientEntry& entry, WorkerPlan& plan) {
  if (const auto uid = uidOfName(entry.name)) {
    plan.identity = ofPeer(*uid);
    return "";
  }
  plan.identity = emptyCredentials();
  if (credentialsOf(entry.runAs, *plan.identity) == 0) return "";
  const int error = errno;
  if (error != 0) {
    return "user \"" + entry.runAs + "\": " + std::generic_category().message(error);
  }
  plan.trouble = "there is no user \"" + entry.runAs + "\"";
  giveNobody(plan);
  return "";
}

/// Accounts may have changed since the configuration was judged: nobody is to be the front's user,
/// which has the node's key.
bool isFronts(const WorkerPlan& plan, const Configuration& configuration) {
  HOQUserCredentials front = emptyCredentials();
  return credentialsOf(configuration.user, front) == 0 && plan.identity->uid == front.uid;
}

}  // namespace

PlanOutcome planFor(const Configuration& configuration, const std::string& entry, bool asRoot) {
  PlanOutcome outcome;
  WorkerPlan& plan = outcome.plan;
  plan.client = entry.empty() ? "(unknown)" : entry;
  plan.descriptors = configuration.limits.workerDescriptors;
  plan.memoryMib = configuration.limits.workerMemoryMib;
  if (entry.empty()) {
    if (asRoot) giveNobody(plan);
    return outcome;
  }
  const auto& clients = configuration.clients;
  const auto found = std::find_if(clients.begin(), clients.end(),
                                  [&](const ClientEntry& each) { return each.name == entry; });
  if (found == clients.end()) return {WorkerPlan(), "there is no such entry"};
  plan.mayRead = found->mayRead;
  plan.mayChange = found->mayChange;
  plan.umask = found->umask;
  plan.roots = found->roots;
  if (!asRoot) return outcome;
  outcome.text = addIdentity(*found, plan);
  if (outcome.text.empty() && isFronts(plan, configuration)) {
    outcome.text = "it would be the daemon's own user";
  }
  return outcome;
}

}  // namespace HOQ::agent
