// A link that is lost at any point is told promptly, and the next request gets a new one.
#include <gtest/gtest.h>
#include <hoq/HOQFileDownloadData.h>
#include <hoq/HOQFileUploadData.h>
#include <poll.h>

#include <atomic>
#include <thread>

#include "support/Trees.h"
#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;

/// Passes bytes between two sockets until so many have gone from the node to the client, and then
/// hangs up both.
class CuttingRelay {
 public:
  CuttingRelay(int client, int node, std::size_t after)
      : thread_([=, this] { run(client, node, after); }) {}
  ~CuttingRelay() { thread_.join(); }

  bool hasCut() const { return cut_; }

 private:
  static bool pass(int from, int to, std::size_t most) {
    char bytes[4096];
    const ssize_t got = ::read(from, bytes, std::min(most, sizeof bytes));
    if (got <= 0) return false;
    return ::send(to, bytes, static_cast<std::size_t>(got), MSG_NOSIGNAL) == got;
  }

  void run(int client, int node, std::size_t after) {
    std::size_t left = after;
    pollfd ends[2] = {{client, POLLIN, 0}, {node, POLLIN, 0}};
    while (::poll(ends, 2, -1) > 0) {
      if (ends[0].revents != 0 && !pass(client, node, 4096)) break;
      if (ends[1].revents == 0) continue;
      if (left == 0) {
        cut_ = true;
        break;
      }
      if (!pass(node, client, 1)) break;
      --left;
    }
    (void)::close(client);
    (void)::close(node);
  }

  std::atomic<bool> cut_ = false;
  std::thread thread_;
};

/// Runs `request` over links that are cut after n bytes, n = 0, step, 2 step, ..., until one gets
/// through.
template <class Request>
void sweep(std::size_t step, const Request& request) {
  OnNode<> node;
  for (std::size_t after = 0;; after += step) {
    ASSERT_LE(after, 100'000u) << "the sweep ends";
    SCOPED_TRACE("cut after " + std::to_string(after));
    std::unique_ptr<CuttingRelay> relay;
    node.nodes.instead = [&](const std::string&) {
      const SocketPair near;
      const SocketPair far;
      node.nodes.node("node").serve(far.there);
      relay = std::make_unique<CuttingRelay>(near.there, far.here, after);
      return Dialled{near.here, NodeFailure::kNone, ""};
    };
    node.client->forget("node");
    node.handler->errors.clear();
    const int code = request(*node.filer);
    node.client->forget("node");
    if (node.filer->failure() == NodeFailure::kNone) {
      EXPECT_EQ(code, 0);
      EXPECT_GT(after, 0u);
      relay.reset();
      return;
    }
    EXPECT_EQ(code, -1);
    EXPECT_EQ(node.filer->failure(), NodeFailure::kLost);
    ASSERT_EQ(node.handler->errors.size(), 1u);
    EXPECT_EQ(node.handler->errors[0].code, -1);
    EXPECT_EQ(node.handler->errors[0].message.rfind("Lost the connection to node \"node\"", 0), 0u)
        << node.handler->errors[0].message;
    relay.reset();
  }
}

TEST(LostLink, EndsAListingWithNoRecordOrAll) {
  const TempDir root;
  trees::make(root.path(), "a b c d/e");
  sweep(7, [&](HOQFiler& filer) {
    filer.setCwd(root.path());
    HOQFiler::FileTypes records;
    const int code = filer.list({"."}, &records, 0, nullptr, 0x7FF);
    EXPECT_EQ(records.size(), code == 0 ? 8u : 0u);
    return code;
  });
}

TEST(LostLink, EndsADownload) {
  const TempDir root;
  trees::make(root.path(), "f=" + std::string(20'000, 'x'));
  sweep(997, [&](HOQFiler& filer) {
    filer.setCwd(root.path());
    const auto item = boost::make_shared<HOQFileDownloadData>("f", 0, 0);
    return filer.download({item}, 0, HOQSecurityAttributes(0), {}, nullptr);
  });
}

TEST(LostLink, EndsAnUpload) {
  const TempDir root;
  sweep(13, [&](HOQFiler& filer) {
    const auto item = boost::make_shared<HOQFileUploadData>(root / "u", 300'000, 0);
    item->contents.assign(300'000, 'u');
    return filer.upload({item}, 1, HOQSecurityAttributes(0600), {}, nullptr);
  });
}

TEST(LostLink, IsReplacedForTheNextRequest) {
  OnNode<> node;
  EXPECT_EQ(node.filer->remove({}, 0), 0);
  node.nodes.cut();
  EXPECT_EQ(node.filer->remove({}, 0), 0) << "a hang-up is seen before anything is sent";
  EXPECT_EQ(node.nodes.dialled(), 2);
}

}  // namespace
}  // namespace HOQ::test
