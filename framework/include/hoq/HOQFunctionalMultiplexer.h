#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include <hoq/HOQFunctionalFactory.h>

namespace HOQ {

/// The registry of one functional: its factories, local and agent, each filed under a name.
/// The empty name is the default implementation.
///
/// Any thread may call anything. A factory that is being used stays alive although it is
/// unregistered meanwhile; objects are made outside the lock.
///
/// `Result` is the counted pointer in which the functional's objects are handed out.
template <class Result>
class HOQ_EXPORT HOQFunctionalMultiplexer {
 public:
  using LocalFactory = HOQFunctionalFactoryLocal<Result>;
  using AgentFactory = HOQFunctionalFactoryAgent<Result>;

  explicit HOQFunctionalMultiplexer(const char* functional) : functional_(functional) {}
  HOQFunctionalMultiplexer(const HOQFunctionalMultiplexer&) = delete;
  HOQFunctionalMultiplexer& operator=(const HOQFunctionalMultiplexer&) = delete;

  /// Keeps a reference of `factory`. Throws std::invalid_argument, and changes nothing, when
  /// `factory` is empty or the name is taken.
  void registerLocalFactory(const std::string& name, boost::shared_ptr<LocalFactory> factory) {
    local_.add(functional_, "local", name, std::move(factory));
  }
  void registerAgentFactory(const std::string& name, boost::shared_ptr<AgentFactory> factory) {
    agent_.add(functional_, "agent", name, std::move(factory));
  }

  /// Removes the factory of that name; without one, nothing happens.
  void unregisterLocalFactory(const std::string& name) { local_.remove(name); }
  void unregisterAgentFactory(const std::string& name) { agent_.remove(name); }

  /// The factory of that name, or empty.
  boost::shared_ptr<LocalFactory> findLocalFactory(const std::string& name) const {
    return local_.find(name);
  }
  boost::shared_ptr<AgentFactory> findAgentFactory(const std::string& name) const {
    return agent_.find(name);
  }

  /// A new object, or an empty pointer when no factory has that name.
  Result createLocal(const std::string& name, HOQAccessProviderPtr access) const {
    const auto factory = local_.find(name);
    return factory ? factory->createNew(std::move(access)) : Result();
  }
  Result createAgent(const std::string& name, const HOQEID& eid, HOQAccessProviderPtr access,
                     const std::string& target = std::string()) const {
    const auto factory = agent_.find(name);
    return factory ? factory->createNew(eid, std::move(access), target) : Result();
  }

 private:
  template <class Factory>
  class Shelf {
   public:
    void add(const char* functional, const char* kind, const std::string& name,
             boost::shared_ptr<Factory> factory) {
      const std::string what =
          std::string(functional) + ", " + kind + " factory \"" + name + "\": ";
      if (!factory) throw std::invalid_argument(what + "there is none to register");
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!factories_.emplace(name, std::move(factory)).second)
        throw std::invalid_argument(what + "the name is taken");
    }
    void remove(const std::string& name) {
      boost::shared_ptr<Factory> last;  // dropped after the lock
      const std::lock_guard<std::mutex> lock(mutex_);
      const auto found = factories_.find(name);
      if (found == factories_.end()) return;
      last = std::move(found->second);
      factories_.erase(found);
    }
    boost::shared_ptr<Factory> find(const std::string& name) const {
      const std::lock_guard<std::mutex> lock(mutex_);
      const auto found = factories_.find(name);
      return found == factories_.end() ? boost::shared_ptr<Factory>() : found->second;
    }

   private:
    mutable std::mutex mutex_;  // guards factories_
    std::map<std::string, boost::shared_ptr<Factory>> factories_;
  };

  const char* const functional_;
  Shelf<LocalFactory> local_;
  Shelf<AgentFactory> agent_;
};

}  // namespace HOQ
