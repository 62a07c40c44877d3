#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>

#include "routine/HOQFileRoutine.h"

namespace HOQ::test {

/// A kind of routine with a place to work in: what the contract tests run on.
class RoutineWorld {
 public:
  virtual ~RoutineWorld() = default;

  /// A fresh routine at the item `name` of the place; empty: the place itself.
  virtual std::unique_ptr<HOQFileRoutine> at(const std::string& name) = 0;
  /// A name of a user and of a group that this kind knows, with their ids.
  virtual std::string userName() = 0;
  virtual std::string groupName() = 0;
  virtual unsigned uid() = 0;
  virtual unsigned gid() = 0;
  /// An item that neither mkdir nor open nor link makes.
  virtual void makeFifo(const std::string& name) = 0;
  virtual unsigned kind() = 0;
};

struct WorldKind {
  const char* name;
  std::unique_ptr<RoutineWorld> (*make)();
};

inline std::ostream& operator<<(std::ostream& out, const WorldKind& kind) {
  return out << kind.name;
}

std::unique_ptr<RoutineWorld> makeLinuxWorld();
std::unique_ptr<RoutineWorld> makeMemoryWorld();

/// Base of the contract suites. Every kind of routine passes them.
class RoutineContract : public testing::TestWithParam<WorldKind> {
 protected:
  RoutineContract() : world(GetParam().make()) {}

  std::unique_ptr<HOQFileRoutine> at(const std::string& name) { return world->at(name); }
  void makeFile(const std::string& name, const std::string& text);
  void makeDirectory(const std::string& name);
  void makeLink(const std::string& name, const std::string& target);
  /// "" for an empty file; a failed expectation and "?" where it cannot be read.
  std::string textOf(const std::string& name);
  bool exists(const std::string& name);
  /// The permission bits.
  unsigned modeOf(const std::string& name);

  std::unique_ptr<RoutineWorld> world;
};

#define HOQ_ALL_WORLDS(Suite)                                                                    \
  INSTANTIATE_TEST_SUITE_P(                                                                      \
      , Suite,                                                                                   \
      testing::Values(WorldKind{"Linux", makeLinuxWorld}, WorldKind{"Memory", makeMemoryWorld}), \
      [](const auto& kind) { return std::string(kind.param.name); })

}  // namespace HOQ::test
