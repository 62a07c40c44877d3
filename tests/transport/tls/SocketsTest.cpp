#include "tls/Sockets.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "support/TempDir.h"
#include "transport/tls/support/PumpHarness.h"

namespace HOQ::tls {
namespace {

using test::TempDir;
using test::waitFor;

std::vector<Listener> listening(const Address& address) {
  auto made = listenOn(address);
  if (!made) throw std::runtime_error(made.error().text);
  return std::move(*made);
}

TEST(Sockets, APortLeftToTheSystemIsTold) {
  const auto listeners = listening(*Address::parse("127.0.0.1:0"));
  ASSERT_EQ(listeners.size(), 1u);
  EXPECT_EQ(listeners[0].address().host(), "127.0.0.1");
  EXPECT_NE(listeners[0].address().port(), 0);
}

TEST(Sockets, AConnectionStandsAndBothSidesKnowTheOther) {
  const auto listeners = listening(*Address::parse("127.0.0.1:0"));
  auto near = connectTo(listeners[0].address(), test::kForEver);
  ASSERT_TRUE(near) << near.error().text;
  waitFor(listeners[0].fd(), POLLIN);
  auto far = acceptFrom(listeners[0]);
  ASSERT_TRUE(far && *far);
  EXPECT_EQ(remoteAddress(near->get()), listeners[0].address().text());
  EXPECT_EQ(remoteHost(far->get()), "127.0.0.1");
  EXPECT_EQ(remoteAddress(far->get()).rfind("127.0.0.1:", 0), 0u);
  for (const int fd : {near->get(), far->get(), listeners[0].fd()}) {
    EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
  }
  EXPECT_FALSE(*acceptFrom(listeners[0])) << "nobody else waits";
}

TEST(Sockets, WhereNobodyListensIsUnreachable) {
  Address gone = Address::unixSocket("/");
  { gone = listening(*Address::parse("127.0.0.1:0"))[0].address(); }
  const auto tried = connectTo(gone, test::kForEver);
  ASSERT_FALSE(tried);
  EXPECT_EQ(tried.error().kind, ErrorKind::kUnreachable);
  EXPECT_EQ(tried.error().text, gone.text() + ": nobody listens there");
}

TEST(Sockets, AHostThatIsNotThereIsUnreachable) {
  const auto tried = connectTo(*Address::parse("nowhere.invalid"), test::kForEver);
  ASSERT_FALSE(tried);
  EXPECT_EQ(tried.error().kind, ErrorKind::kUnreachable);
  EXPECT_NE(tried.error().text.find("nowhere.invalid:7850: the host is not found"),
            std::string::npos);
}

TEST(Sockets, AnAddressThatNeverAnswersTimesOut) {
  // A listener whose queue is full lets further greetings lie.
  const UniqueFd deaf(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_storage name{};
  name.ss_family = AF_INET;
  socklen_t length = sizeof(sockaddr_storage);
  ASSERT_EQ(::listen(deaf.get(), 0), 0);
  ASSERT_EQ(::getsockname(deaf.get(), reinterpret_cast<sockaddr*>(&name), &length), 0);
  std::uint16_t port = 0;
  {
    // Its port, by way of one connection that fills the queue.
    UniqueFd first(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::connect(first.get(), reinterpret_cast<sockaddr*>(&name), length), 0);
    const std::string text = remoteAddress(first.get());
    port = Address::parse(text)->port();
    std::vector<UniqueFd> more;
    for (int i = 0; i < 4; ++i) {
      auto one = connectTo(Address::ofHost("127.0.0.1", port), std::chrono::milliseconds(30));
      if (!one) {
        EXPECT_EQ(one.error().kind, ErrorKind::kTimedOut) << one.error().text;
        return;
      }
      more.push_back(std::move(*one));
    }
  }
  FAIL() << "the queue never filled";
}

TEST(Sockets, APortInUseIsRefusedAndNamed) {
  const auto listeners = listening(*Address::parse("127.0.0.1:0"));
  const auto second = listenOn(listeners[0].address());
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().kind, ErrorKind::kUsage);
  EXPECT_EQ(second.error().text,
            listeners[0].address().text() + ": cannot listen: somebody listens there already");
}

TEST(UnixSockets, AnybodyMayConnectAndIsKnown) {
  const TempDir directory;
  const Address address = Address::unixSocket(directory / "s");
  const auto listeners = listening(address);
  struct stat info {};
  ASSERT_EQ(::stat(address.path().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0666u);
  const auto near = connectTo(address, test::kForEver);
  ASSERT_TRUE(near) << near.error().text;
  const auto far = acceptFrom(listeners[0]);
  ASSERT_TRUE(far && *far);
  const auto peer = unixPeer(far->get());
  ASSERT_TRUE(peer);
  EXPECT_EQ(peer->uid, ::geteuid());
  EXPECT_EQ(peer->gid, ::getegid());
  EXPECT_EQ(peer->pid, ::getpid());
  EXPECT_EQ(remoteAddress(far->get()), "unix:uid=" + std::to_string(::geteuid()));
}

TEST(UnixSockets, APeerOfAnotherKindOfSocketIsNobody) {
  auto [near, far] = test::tcpPair();
  EXPECT_FALSE(unixPeer(near.get()));
}

TEST(UnixSockets, TheNameGoesWithTheListener) {
  const TempDir directory;
  const Address address = Address::unixSocket(directory / "s");
  { const auto listeners = listening(address); }
  EXPECT_NE(::access(address.path().c_str(), F_OK), 0);
  const auto tried = connectTo(address, test::kForEver);
  ASSERT_FALSE(tried);
  EXPECT_EQ(tried.error().text, address.text() + ": nobody listens there");
}

TEST(UnixSockets, ANameThatMeansSomethingElseByNowStays) {
  const TempDir directory;
  const std::string path = directory / "s";
  {
    const auto listeners = listening(Address::unixSocket(path));
    ASSERT_EQ(::unlink(path.c_str()), 0);
    std::ofstream(path) << "mine";
  }
  EXPECT_EQ(::access(path.c_str(), F_OK), 0);
}

TEST(UnixSockets, ASocketThatADeadProcessLeftIsReplaced) {
  const TempDir directory;
  const std::string path = directory / "s";
  {
    auto listeners = listening(Address::unixSocket(path));
    ASSERT_EQ(::rename(path.c_str(), (path + "2").c_str()), 0);
  }
  const Address left = Address::unixSocket(path + "2");
  const auto again = listening(left);
  EXPECT_TRUE(connectTo(left, test::kForEver));
}

TEST(UnixSockets, ASocketInUseAndOtherFilesAreLeftAlone) {
  const TempDir directory;
  const Address used = Address::unixSocket(directory / "s");
  const auto listeners = listening(used);
  const auto second = listenOn(used);
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().text, used.text() + ": cannot listen: somebody listens there already");
  EXPECT_TRUE(connectTo(used, test::kForEver));

  const Address file = Address::unixSocket(directory / "f");
  std::ofstream(file.path()) << "text";
  const auto refused = listenOn(file);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().text,
            file.text() + ": cannot listen: there is something else of that name");
}

struct FolderRow {
  const char* name;
  unsigned above;
  unsigned folder;
  const char* refusal;  // of which folder; null: none
  const char* why;
};

TEST(UnixSockets, TheFolderAndThoseAboveMustBeSafeFromOthers) {
  const FolderRow kRows[] = {
      {"ours", 0755, 0755, nullptr, ""},
      {"private", 0700, 0700, nullptr, ""},
      {"writable by the group", 0755, 0775, "above/folder", "is writable by others"},
      {"writable by all", 0755, 0757, "above/folder", "is writable by others"},
      {"sticky itself", 0755, 01777, "above/folder", "is writable by others"},
      {"below a writable one", 0777, 0755, "above", "is writable by others"},
      {"below a sticky one", 01777, 0755, nullptr, ""},
  };
  for (const FolderRow& row : kRows) {
    SCOPED_TRACE(row.name);
    const TempDir directory;
    const std::string above = directory / "above";
    const std::string folder = above + "/folder";
    ASSERT_EQ(::mkdir(above.c_str(), 0700), 0);
    ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
    ASSERT_EQ(::chmod(folder.c_str(), row.folder), 0);
    ASSERT_EQ(::chmod(above.c_str(), row.above), 0);
    const auto made = listenOn(Address::unixSocket(folder + "/s"));
    EXPECT_EQ(static_cast<bool>(made), row.refusal == nullptr);
    if (made) continue;
    EXPECT_EQ(made.error().kind, ErrorKind::kUsage);
    EXPECT_EQ(made.error().text, "unix:" + folder + "/s: the folder \"" +
                                     (directory / row.refusal) + "\" " + row.why +
                                     ", who could replace the socket");
  }
}

TEST(UnixSockets, AFolderOfAnotherUserIsRefused) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  const TempDir directory;
  ASSERT_EQ(::chown(directory.path().c_str(), 65534, 65534), 0);
  const auto made = listenOn(Address::unixSocket(directory / "s"));
  ASSERT_FALSE(made);
  EXPECT_NE(made.error().text.find("belongs to another user"), std::string::npos);
}

TEST(UnixSockets, AMissingFolderIsNamed) {
  const TempDir directory;
  const auto made = listenOn(Address::unixSocket(directory / "no/s"));
  ASSERT_FALSE(made);
  EXPECT_NE(made.error().text.find("/no\" No such file or directory"), std::string::npos)
      << made.error().text;
}

}  // namespace
}  // namespace HOQ::tls
