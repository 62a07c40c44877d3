#include "control/ControlSocket.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <vector>

namespace HOQ::agent {
namespace {

using Outcome = ControlSocket::Outcome;

std::size_t openDescriptors() {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    (void)entry;
    ++count;
  }
  return count;
}

class ControlSocketTest : public testing::Test {
 protected:
  ControlSocketTest() : ends_(ControlSocket::pair()) {
    front_.emplace(std::move(ends_.first), Sender::Worker);
  }

  int worker() const { return ends_.second.get(); }

  /// As a worker that does what it likes would send it.
  void sendRaw(const std::string& bytes, const std::vector<int>& descriptors) {
    std::string copy = bytes;
    iovec piece{copy.data(), copy.size()};
    std::vector<char> room(CMSG_SPACE(descriptors.size() * sizeof(int)));
    msghdr header{};
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    if (!descriptors.empty()) {
      header.msg_control = room.data();
      header.msg_controllen = room.size();
      cmsghdr* part = CMSG_FIRSTHDR(&header);
      part->cmsg_level = SOL_SOCKET;
      part->cmsg_type = SCM_RIGHTS;
      part->cmsg_len = CMSG_LEN(descriptors.size() * sizeof(int));
      std::memcpy(CMSG_DATA(part), descriptors.data(), descriptors.size() * sizeof(int));
    }
    ASSERT_EQ(::sendmsg(worker(), &header, 0), static_cast<ssize_t>(bytes.size()));
  }

  std::pair<tls::UniqueFd, tls::UniqueFd> ends_;
  std::optional<ControlSocket> front_;
};

TEST_F(ControlSocketTest, AMessageBringsItsDescriptor) {
  ControlSocket worker(tls::UniqueFd(::dup(this->worker())), Sender::Front);
  int pipe[2];
  ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
  EXPECT_EQ(front_->send(Connection{}, pipe[1]), Outcome::Done);
  ::close(pipe[1]);
  ControlSocket::Received received = worker.receive();
  ASSERT_EQ(received.outcome, Outcome::Done) << received.error;
  EXPECT_TRUE(std::holds_alternative<Connection>(received.message));
  EXPECT_TRUE(::fcntl(received.descriptor.get(), F_GETFD) & FD_CLOEXEC);
  EXPECT_EQ(::write(received.descriptor.get(), "x", 1), 1);
  char got = 0;
  EXPECT_EQ(::read(pipe[0], &got, 1), 1);
  EXPECT_EQ(got, 'x');
  ::close(pipe[0]);
}

TEST_F(ControlSocketTest, WhatIsNotInOrderIsBrokenAndLeavesNoDescriptor) {
  const std::string log = encode(Log{});
  const std::string dial = encode(Dial{});
  const struct {
    const char* name;
    std::string bytes;
    std::size_t descriptors;
  } cases[] = {
      {"no message", "garbage", 0},
      {"no message with a descriptor", "garbage", 1},
      {"a message of the other side", encode(Drain{}), 0},
      {"a descriptor that nobody asked for", log, 1},
      {"several descriptors", dial, 3},
      {"more descriptors than are taken", log, 40},
      {"more bytes than are taken", std::string(kLongestMessage + 1, '\4'), 0},
  };
  const std::size_t before = openDescriptors();
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    sendRaw(each.bytes, std::vector<int>(each.descriptors, STDERR_FILENO));
    const ControlSocket::Received received = front_->receive();
    EXPECT_EQ(received.outcome, Outcome::Broken);
    EXPECT_NE(received.error, "");
    EXPECT_FALSE(received.descriptor);
    EXPECT_EQ(openDescriptors(), before);
  }
}

TEST_F(ControlSocketTest, AConnectionWithoutADescriptorIsBroken) {
  ControlSocket worker(tls::UniqueFd(::dup(this->worker())), Sender::Front);
  EXPECT_EQ(front_->send(Connection{}), Outcome::Done);
  EXPECT_EQ(worker.receive().outcome, Outcome::Broken);
  EXPECT_EQ(front_->send(DialAnswer{}), Outcome::Done);
  EXPECT_EQ(worker.receive().outcome, Outcome::Done) << "a failed dial brings none";
}

TEST_F(ControlSocketTest, AnEndThatIsGoneIsClosed) {
  ends_.second.reset();
  EXPECT_EQ(front_->receive().outcome, Outcome::Closed);
  EXPECT_EQ(front_->send(Drain{}), Outcome::Closed);
}

TEST_F(ControlSocketTest, WhatAnEndSentBeforeItsSuddenEndStillArrives) {
  ASSERT_EQ(front_->send(Drain{}), Outcome::Done);  // and it never reads it
  sendRaw(encode(Log{}), {});
  ends_.second.reset();
  EXPECT_EQ(front_->receive().outcome, Outcome::Done);
  EXPECT_EQ(front_->receive().outcome, Outcome::Closed);
}

TEST_F(ControlSocketTest, AnEmptyOrFullSocketThatDoesNotBlockSaysSo) {
  ASSERT_EQ(::fcntl(front_->fd(), F_SETFL, O_NONBLOCK), 0);
  EXPECT_EQ(front_->receive().outcome, Outcome::WouldBlock);
  Outcome outcome = Outcome::Done;
  for (int i = 0; i < 100000 && outcome == Outcome::Done; ++i) outcome = front_->send(Drain{});
  EXPECT_EQ(outcome, Outcome::WouldBlock);
}

}  // namespace
}  // namespace HOQ::agent
