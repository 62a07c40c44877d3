#pragma once

#include <gtest/gtest.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <string>
#include <vector>

#include "support/HaulFakes.h"
#include "support/MemoryTransport.h"
#include "support/ResourceCount.h"

namespace HOQ::test {

/// Transfers of one text between fake ends. Every test also proves that nothing of them is left.
class HaulTest : public testing::Test {
 protected:
  void SetUp() override { world.contents = "contents"; }

  void TearDown() override {
    control.dstAccess.reset();
    EXPECT_EQ(world.alive, 0) << "ends or channels outlive their transfers";
    EXPECT_EQ(world.unjoined, 0) << "a receiver was destroyed while it ran";
    EXPECT_EQ(node.sessions(), 0) << "sessions outlive their transfers";
    EXPECT_EQ(before.difference(), "");
  }

  int start(const std::string& target = "local:", bool regular = true) {
    return control.start(HOQConnectionInfo(), boost::make_shared<FakeParams>(),
                         HOQConnectionInfo{target},
                         boost::make_shared<FakeParams>("item", regular));
  }

  const ResourceCount before;
  HaulWorld world;
  MemoryTransport transport;
  MemoryNode& node = transport.add("node:1");
  FakeControl control{localAccess()};
};

}  // namespace HOQ::test
