#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <string>

#include <hoq/HOQAccessProviderPrototype.h>
#include <hoq/HOQEID.h>
#include <hoq/HOQExport.h>

namespace HOQ {

using HOQAccessProviderPtr = boost::intrusive_ptr<HOQAccessProviderPrototype>;

/// Makes local implementations of a functional. Stateless; any thread.
template <class Result>
class HOQ_EXPORT HOQFunctionalFactoryLocal {
 public:
  virtual ~HOQFunctionalFactoryLocal() = default;

  /// A new implementation that holds its own reference of `access` (which may be empty).
  /// What the implementation's constructor throws passes on; nothing leaks.
  virtual Result createNew(HOQAccessProviderPtr access) const = 0;
};

/// Makes stand-ins for an implementation that lives in another environment. Stateless; any thread.
template <class Result>
class HOQ_EXPORT HOQFunctionalFactoryAgent {
 public:
  virtual ~HOQFunctionalFactoryAgent() = default;

  virtual Result createNew(const HOQEID& eid, HOQAccessProviderPtr access) const = 0;

  /// The same; a `target` that is not empty is handed to the stand-in's setTarget() unchanged.
  virtual Result createNew(const HOQEID& eid, HOQAccessProviderPtr access,
                           const std::string& target) const = 0;
};

/// The local factory of `Impl`, wrapped as `Result` (a counted pointer to the interface).
template <class Result, class Impl>
class HOQFunctionalFactoryLocalImpl final : public HOQFunctionalFactoryLocal<Result> {
 public:
  Result createNew(HOQAccessProviderPtr access) const override { return Result(new Impl(access)); }
};

/// The agent factory of `Impl`, a class that is constructed from environment and access provider
/// and has setTarget().
template <class Result, class Impl>
class HOQFunctionalFactoryAgentImpl final : public HOQFunctionalFactoryAgent<Result> {
 public:
  Result createNew(const HOQEID& eid, HOQAccessProviderPtr access) const override {
    return Result(new Impl(eid, access));
  }

  Result createNew(const HOQEID& eid, HOQAccessProviderPtr access,
                   const std::string& target) const override {
    Impl* impl = new Impl(eid, access);
    Result result(impl);  // owns it before setTarget(), which may throw
    if (!target.empty()) impl->setTarget(target);
    return result;
  }
};

}  // namespace HOQ
