#pragma once

#include <gtest/gtest.h>

#include <hoq/canonizePath.h>

#include <algorithm>
#include <string>
#include <vector>

#include "engine/FileOperate.h"
#include "routine/HOQFileRoutineLin.h"
#include "support/CollectingHandler.h"
#include "support/ScriptedOperate.h"
#include "support/Trees.h"

namespace HOQ::test {

/// A place with a tree, and what walks through it leave behind.
class EngineFixture : public testing::Test {
 protected:
  /// Paths that an operation visited, relative to the place (itself: "."), canonical, sorted.
  /// Others stay whole.
  std::vector<std::string> placesOf(const ScriptedOperate& op) const {
    std::vector<std::string> places;
    for (std::string path : op.visited) {
      EXPECT_EQ(canonizePath(path, '/'), 0) << path;
      if (path == dir.path())
        path = ".";
      else if (path.compare(0, dir.path().size() + 1, dir.path() + "/") == 0)
        path.erase(0, dir.path().size() + 1);
      places.push_back(path);
    }
    std::sort(places.begin(), places.end());
    return places;
  }

  using Texts = std::vector<std::string>;

  TempDir dir;
  const CollectingHandlerPtr handler{new CollectingHandler};
};

}  // namespace HOQ::test
