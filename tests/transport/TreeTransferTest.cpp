// Trees from the local Filer to a node at the other side of a socket pair.
#include <gtest/gtest.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQResultCodes.h>

#include "support/ScriptedFiler.h"
#include "support/TransferFactories.h"
#include "support/Trees.h"
#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;

class TreeTransfer : public testing::Test {
 protected:
  TreeTransfer() {
    nodes.add("node");
    client = newClient(nodes);
    HOQTransport::registerTransport(&client->transport());
  }
  ~TreeTransfer() override { HOQTransport::registerTransport(nullptr); }

  int copy(const std::string& what, const std::string& where, int options,
           const std::string& address = "node") {
    const Rights rights(true, true);
    ScriptedFiler filer(from.path());
    const int code = filer.copy({what}, HOQConnectionInfo{address}, where, options, nullptr);
    errors = filer.handler->messages();
    return code;
  }

  TransferFactories<> factories;
  TestNodes nodes;
  std::unique_ptr<NodeClient> client;
  TempDir from;
  TempDir to;
  std::vector<std::string> errors;
};

TEST_F(TreeTransfer, ArrivesWhole) {
  trees::make(from.path(),
              "d/a=1 d/e/b=22 d/e/empty d/none/ d/large=" + std::string(1'500'000, 'x'));
  EXPECT_EQ(copy("d", to.path(), HOQFilerOptions::kRecursive), 0);
  EXPECT_EQ(errors, std::vector<std::string>{});
  EXPECT_EQ(trees::snapshot(to.path(), trees::Show::kEveryDirectory),
            trees::snapshot(from.path(), trees::Show::kEveryDirectory));
}

TEST_F(TreeTransfer, CarriesNamesOfEveryByte) {
  trees::make(from.path(), "d/");
  trees::everyByteNames(from / "d");
  EXPECT_EQ(copy("d", to.path(), HOQFilerOptions::kRecursive), 0);
  EXPECT_EQ(errors, std::vector<std::string>{});
  EXPECT_EQ(trees::snapshot(to.path()), trees::snapshot(from.path()));
}

TEST_F(TreeTransfer, ReportsWhatTheNodeRefuses) {
  nodes.add("node", nodeSettings(true, false));
  trees::make(from.path(), "f=1");
  (void)copy("f", to.path(), 0);
  ASSERT_FALSE(errors.empty());
  EXPECT_EQ(trees::snapshot(to.path()), "");
}

TEST_F(TreeTransfer, ReportsANodeThatIsNotThere) {
  trees::make(from.path(), "f=1");
  (void)copy("f", to.path(), 0, "nowhere");
  ASSERT_FALSE(errors.empty());
  EXPECT_NE(errors.front().find("nobody is there"), std::string::npos) << errors.front();
}

}  // namespace
}  // namespace HOQ::test
