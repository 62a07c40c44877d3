#include "front/ServiceManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "support/TempDir.h"
#include "tls/UniqueFd.h"

namespace HOQ::agent {
namespace {

/// Listens as a service manager does.
class Manager {
 public:
  explicit Manager(const std::string& name) : fd_(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (::bind(fd_.get(), reinterpret_cast<sockaddr*>(&address), length) != 0) {
      throw std::runtime_error("bind");
    }
  }
  std::string heard() const {
    char text[500];
    const ssize_t got = ::recv(fd_.get(), text, sizeof text, MSG_DONTWAIT);
    return got < 0 ? "nothing" : std::string(text, static_cast<std::size_t>(got));
  }

 private:
  tls::UniqueFd fd_;
};

void tellAll(const std::string& socket) {
  ASSERT_EQ(::setenv("NOTIFY_SOCKET", socket.c_str(), 1), 0);
  const ServiceManager manager = ServiceManager::fromEnvironment();
  EXPECT_EQ(std::getenv("NOTIFY_SOCKET"), nullptr) << "children would speak for the daemon";
  manager.ready("serving 2 clients");
  manager.reloading();
  manager.stopping();
}

TEST(ServiceManagerTest, ItHearsOfEachState) {
  const test::TempDir dir;
  for (const std::string& name : {dir / "notify", "@hoq-test-" + std::to_string(::getpid())}) {
    const Manager manager(name);
    tellAll(name);
    EXPECT_EQ(manager.heard(), "READY=1\nSTATUS=serving 2 clients\n");
    EXPECT_THAT(manager.heard(), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+\n"));
    EXPECT_EQ(manager.heard(), "STOPPING=1\nSTATUS=draining\n");
  }
}

TEST(ServiceManagerTest, WithoutOneNothingHappens) {
  tellAll("");
  tellAll("/nowhere/at/all");
  tellAll(std::string(500, 'x'));
}

}  // namespace
}  // namespace HOQ::agent
