#include <hoq/HOQAccessChecker.h>

#include <utility>

namespace HOQ {
namespace {

HOQAccessChecker::ClientContextPtr& threadClient() {
  thread_local HOQAccessChecker::ClientContextPtr client;
  return client;
}

}  // namespace

HOQClientContext::~HOQClientContext() = default;

HOQAccessChecker::ClientContextPtr HOQAccessChecker::getClientContext() { return threadClient(); }

int HOQAccessChecker::accessCheck(const ClientContextPtr& client, int level) {
  if (!client) return -1;
  switch (level) {
    case kRead:
      return client->mayRead() ? 0 : -1;
    case kChange:
      return client->mayChange() ? 0 : -1;
    default:
      return -1;
  }
}

HOQAccessChecker::Scope::Scope(ClientContextPtr client)
    : previous_(std::exchange(threadClient(), std::move(client))) {}

HOQAccessChecker::Scope::~Scope() { threadClient() = std::move(previous_); }

}  // namespace HOQ
