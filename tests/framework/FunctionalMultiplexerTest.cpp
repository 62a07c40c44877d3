#include <gtest/gtest.h>
#include <hoq/HOQFunctionalMultiplexer.h>

#include <atomic>
#include <barrier>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace HOQ {
namespace {

class Provider : public HOQAccessProviderPrototype {
 public:
  HOQEID getEID() const override { return HOQEID(1, 2); }
};

struct Service {
  virtual ~Service() = default;
  HOQAccessProviderPtr access;
  HOQEID eid;
  std::vector<std::string> targets;
};
using ServicePtr = boost::shared_ptr<Service>;

struct LocalService : Service {
  explicit LocalService(const HOQAccessProviderPtr& provider) { access = provider; }
};

struct AgentService : Service {
  AgentService(const HOQEID& environment, const HOQAccessProviderPtr& provider) {
    eid = environment;
    access = provider;
  }
  void setTarget(const std::string& target) { targets.push_back(target); }
};

using Multiplexer = HOQFunctionalMultiplexer<ServicePtr>;
using LocalFactoryPtr = boost::shared_ptr<Multiplexer::LocalFactory>;
using AgentFactoryPtr = boost::shared_ptr<Multiplexer::AgentFactory>;

LocalFactoryPtr localFactory() {
  return LocalFactoryPtr(new HOQFunctionalFactoryLocalImpl<ServicePtr, LocalService>);
}
AgentFactoryPtr agentFactory() {
  return AgentFactoryPtr(new HOQFunctionalFactoryAgentImpl<ServicePtr, AgentService>);
}

std::string problemOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::invalid_argument& problem) {
    return problem.what();
  }
  return "";
}

TEST(FunctionalMultiplexer, MakesAnObjectOfTheNamedFactory) {
  Multiplexer services("Service");
  const LocalFactoryPtr unnamed = localFactory();
  const AgentFactoryPtr agent = agentFactory();
  services.registerLocalFactory("", unnamed);
  services.registerAgentFactory("agent", agent);
  EXPECT_EQ(services.findLocalFactory(""), unnamed);
  EXPECT_EQ(services.findAgentFactory("agent"), agent);
  EXPECT_TRUE(services.createLocal("", HOQAccessProviderPtr()));
  EXPECT_TRUE(services.createAgent("agent", HOQEID(), HOQAccessProviderPtr()));
}

TEST(FunctionalMultiplexer, FindsAndMakesNothingUnderANameThatIsNotThere) {
  Multiplexer services("Service");
  services.registerLocalFactory("here", localFactory());
  EXPECT_FALSE(services.findLocalFactory(""));
  EXPECT_FALSE(services.findAgentFactory("here"));
  EXPECT_FALSE(services.createLocal("HERE", HOQAccessProviderPtr()));
  EXPECT_FALSE(services.createAgent("here", HOQEID(), HOQAccessProviderPtr(), "target"));
}

TEST(FunctionalMultiplexer, KeepsTheFirstFactoryAndRefusesASecond) {
  Multiplexer services("Service");
  const LocalFactoryPtr local = localFactory();
  const AgentFactoryPtr agent = agentFactory();
  services.registerLocalFactory("x", local);
  services.registerAgentFactory("x", agent);
  EXPECT_EQ(problemOf([&] { services.registerLocalFactory("x", localFactory()); }),
            "Service, local factory \"x\": the name is taken");
  EXPECT_EQ(problemOf([&] { services.registerAgentFactory("x", agentFactory()); }),
            "Service, agent factory \"x\": the name is taken");
  EXPECT_EQ(services.findLocalFactory("x"), local);
  EXPECT_EQ(services.findAgentFactory("x"), agent);
}

TEST(FunctionalMultiplexer, RefusesAnEmptyFactory) {
  Multiplexer services("Service");
  EXPECT_EQ(problemOf([&] { services.registerLocalFactory("", LocalFactoryPtr()); }),
            "Service, local factory \"\": there is none to register");
  EXPECT_EQ(problemOf([&] { services.registerAgentFactory("", AgentFactoryPtr()); }),
            "Service, agent factory \"\": there is none to register");
  EXPECT_FALSE(services.findLocalFactory(""));
}

TEST(FunctionalMultiplexer, FreesTheNameOfAnUnregisteredFactory) {
  Multiplexer services("Service");
  services.registerLocalFactory("x", localFactory());
  services.registerAgentFactory("x", agentFactory());
  services.unregisterLocalFactory("x");
  EXPECT_FALSE(services.findLocalFactory("x"));
  EXPECT_TRUE(services.findAgentFactory("x"));
  services.unregisterLocalFactory("x");  // nothing happens
  services.unregisterAgentFactory("y");
  const LocalFactoryPtr next = localFactory();
  services.registerLocalFactory("x", next);
  EXPECT_EQ(services.findLocalFactory("x"), next);
}

TEST(FunctionalMultiplexer, KeepsOneReferenceOfAFactoryUntilItIsUnregistered) {
  const LocalFactoryPtr factory = localFactory();
  {
    Multiplexer services("Service");
    services.registerLocalFactory("x", factory);
    services.registerLocalFactory("y", factory);
    EXPECT_EQ(factory.use_count(), 3);
    services.unregisterLocalFactory("x");
    EXPECT_EQ(factory.use_count(), 2);
  }
  EXPECT_EQ(factory.use_count(), 1);
}

TEST(FunctionalMultiplexer, GivesAnObjectItsOwnReferenceOfTheProvider) {
  Multiplexer services("Service");
  services.registerLocalFactory("", localFactory());
  services.registerAgentFactory("", agentFactory());
  const HOQAccessProviderPtr provider(new Provider);
  {
    const ServicePtr local = services.createLocal("", provider);
    const ServicePtr agent = services.createAgent("", HOQEID(3, 4), provider);
    EXPECT_EQ(local->access, provider);
    EXPECT_EQ(agent->access, provider);
    EXPECT_EQ(agent->eid, HOQEID(3, 4));
    EXPECT_EQ(provider->use_count(), 3u);
  }
  EXPECT_EQ(provider->use_count(), 1u);
}

TEST(FunctionalMultiplexer, PassesATargetOnUnlessItIsEmpty) {
  Multiplexer services("Service");
  services.registerAgentFactory("", agentFactory());
  const std::string target("a target\0with every byte \xff", 26);
  const ServicePtr aimed = services.createAgent("", HOQEID(), HOQAccessProviderPtr(), target);
  EXPECT_EQ(aimed->targets, std::vector<std::string>{target});
  const ServicePtr plain = services.createAgent("", HOQEID(), HOQAccessProviderPtr(), "");
  EXPECT_TRUE(plain->targets.empty());
  const ServicePtr direct =
      services.findAgentFactory("")->createNew(HOQEID(5, 6), HOQAccessProviderPtr());
  EXPECT_EQ(direct->eid, HOQEID(5, 6));
  EXPECT_TRUE(direct->targets.empty());
}

// Takes itself out of the registry while it makes an object.
class Leaving : public Multiplexer::LocalFactory {
 public:
  Leaving(Multiplexer& services, bool& destroyed) : services_(services), destroyed_(destroyed) {}
  ~Leaving() override { destroyed_ = true; }
  ServicePtr createNew(HOQAccessProviderPtr access) const override {
    services_.unregisterLocalFactory("x");
    EXPECT_FALSE(services_.findLocalFactory("x"));
    return destroyed_ ? ServicePtr() : ServicePtr(new LocalService(access));
  }

 private:
  Multiplexer& services_;
  bool& destroyed_;
};

TEST(FunctionalMultiplexer, LetsAFactoryInUseOutliveItsUnregistration) {
  Multiplexer services("Service");
  bool destroyed = false;
  services.registerLocalFactory("x", LocalFactoryPtr(new Leaving(services, destroyed)));
  EXPECT_TRUE(services.createLocal("x", HOQAccessProviderPtr()));
  EXPECT_TRUE(destroyed);
}

// Cannot be made: its constructor, or its setTarget(), throws. Counts its memory.
struct Failing : Service {
  explicit Failing(const HOQAccessProviderPtr& provider) : Failing(HOQEID(), provider) {
    throw std::runtime_error("constructor");
  }
  Failing(const HOQEID&, const HOQAccessProviderPtr& provider) { access = provider; }
  void setTarget(const std::string&) { throw std::runtime_error("setTarget"); }

  static void* operator new(std::size_t size) {
    ++allocations;
    ++alive;
    return ::operator new(size);
  }
  static void operator delete(void* memory) {
    --alive;
    ::operator delete(memory);
  }
  inline static int allocations = 0;
  inline static int alive = 0;
};

TEST(FunctionalMultiplexer, LeaksNothingOfAnObjectThatCannotBeMade) {
  Multiplexer services("Service");
  services.registerLocalFactory(
      "", LocalFactoryPtr(new HOQFunctionalFactoryLocalImpl<ServicePtr, Failing>));
  services.registerAgentFactory(
      "", AgentFactoryPtr(new HOQFunctionalFactoryAgentImpl<ServicePtr, Failing>));
  const HOQAccessProviderPtr provider(new Provider);
  EXPECT_THROW(services.createLocal("", provider), std::runtime_error);
  EXPECT_THROW(services.createAgent("", HOQEID(), provider, "target"), std::runtime_error);
  EXPECT_EQ(Failing::allocations, 2);
  EXPECT_EQ(Failing::alive, 0);
  EXPECT_EQ(provider->use_count(), 1u);
  EXPECT_EQ(services.findLocalFactory("").use_count(), 2);
}

TEST(FunctionalMultiplexer, ServesSeveralThreads) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 500;
  Multiplexer services("Service");
  services.registerLocalFactory("", localFactory());
  const HOQAccessProviderPtr provider(new Provider);
  std::barrier start(kThreads);
  std::atomic<int> registered = 0;
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number)
    threads.emplace_back([&, number] {
      const std::string own = std::to_string(number);
      start.arrive_and_wait();
      for (int round = 0; round < kRounds; ++round) {
        services.registerAgentFactory(own, agentFactory());
        EXPECT_TRUE(services.createAgent(own, HOQEID(), provider, "target"));
        services.unregisterAgentFactory(own);
        EXPECT_TRUE(services.createLocal("", provider));
        // All want this name at once: whoever has it gives it back.
        if (problemOf([&] { services.registerLocalFactory("x", localFactory()); }).empty()) {
          ++registered;
          EXPECT_TRUE(services.createLocal("x", provider));
          services.unregisterLocalFactory("x");
        } else {
          (void)services.createLocal("x", provider);  // there or not, as the others have it
        }
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(registered, 1);
  EXPECT_FALSE(services.findLocalFactory("x"));
  EXPECT_EQ(provider->use_count(), 1u);
}

}  // namespace
}  // namespace HOQ
