// A stock client of another language, which knows nothing of us but what the server says itself.
#include <gtest/gtest.h>
#include <sys/un.h>

#include <array>
#include <cstdio>
#include <thread>

#include "support/Trees.h"
#include "transport/FilerOnNode.h"

namespace HOQ::test {
namespace {

using namespace transport;

struct Ran {
  int status;
  std::string output;
};

Ran run(const std::string& command) {
  std::FILE* const pipe = ::popen((command + " 2>&1").c_str(), "re");
  if (pipe == nullptr) throw std::runtime_error("no shell");
  Ran ran{0, ""};
  std::array<char, 4096> piece;
  for (std::size_t got; (got = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;)
    ran.output.append(piece.data(), got);
  ran.status = ::pclose(pipe);
  return ran;
}

/// Hands everybody who connects to `path` to the server.
class Listener {
 public:
  Listener(const std::string& path, NodeServer& server)
      : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(socket_, 8) != 0)
      throw std::runtime_error("cannot listen");
    thread_ = std::thread([this, &server] {
      for (int taken; (taken = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;)
        server.serve(taken);
    });
  }
  ~Listener() {
    (void)::shutdown(socket_, SHUT_RDWR);
    thread_.join();
    (void)::close(socket_);
  }

 private:
  const int socket_;
  std::thread thread_;
};

TEST(StockClient, ListsADirectoryWithWhatReflectionTells) {
  if (run(HOQ_PYTHON " -c 'import grpc, google.protobuf'").status != 0)
    GTEST_SKIP() << "python3-grpcio and python3-protobuf are not installed";
  const TempDir root;
  trees::make(root.path(), "files/one=1 files/three=333 files/d/");
  OnNode<> node;
  const Listener listener(root / "socket", node.nodes.node("node"));
  const Ran ran = run(HOQ_PYTHON " " HOQ_STOCK_CLIENT " '" + (root / "socket") + "' '" +
                      (root / "files") + "'");
  EXPECT_EQ(ran.status, 0) << ran.output;
  for (const char* line : {"one 1\n", "three 3\n", "d 0\n", ". 0\n", ".. 0\n"})
    EXPECT_NE(ran.output.find(line), std::string::npos) << line << "in\n" << ran.output;
}

}  // namespace
}  // namespace HOQ::test
