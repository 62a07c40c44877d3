#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <hoq/HOQAccessChecker.h>

#include "filer/HOQFilerLocal.h"
#include "support/CollectingHandler.h"

namespace HOQ::test {

/// The local Filer with routines of the test's choice, and a handler that collects.
class ScriptedFiler : public HOQFilerLocal {
 public:
  using RoutineMaker = std::function<boost::shared_ptr<HOQFileRoutine>(const std::string&)>;

  /// Without a maker: the Filer's own routines.
  explicit ScriptedFiler(const std::string& directory, RoutineMaker maker = nullptr)
      : HOQFilerLocal(HOQAccessProviderPtr()), maker_(std::move(maker)) {
    setCwd(directory);
    sync(handler, "");
  }

  boost::shared_ptr<HOQFileRoutine> createRoutine(const std::string& directory) override {
    ++routinesAsked;
    askedFor.push_back(directory);
    return maker_ ? maker_(directory) : HOQFilerLocal::createRoutine(directory);
  }

  const CollectingHandlerPtr handler{new CollectingHandler};
  int routinesAsked = 0;
  std::vector<std::string> askedFor;

 private:
  RoutineMaker maker_;
};

/// This thread works for a client with these rights, for as long as this lives.
class Rights {
 public:
  Rights(bool mayRead, bool mayChange)
      : scope_(HOQAccessChecker::ClientContextPtr(
            new HOQClientContext("a test's client", mayRead, mayChange))) {}

 private:
  HOQAccessChecker::Scope scope_;
};

}  // namespace HOQ::test
