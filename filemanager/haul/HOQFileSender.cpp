#include "haul/HOQFileSender.h"

#include <endian.h>
#include <fcntl.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include <hoq/HOQErrorMessage.h>

namespace HOQ {
namespace {

constexpr std::size_t kPiece = 4096;
constexpr std::chrono::milliseconds kPause(10);  // while a file yields less than it said

constexpr char kCannotOpen[] = "Cannot open file to read";
constexpr char kCannotRead[] = "Cannot read from file";
constexpr char kCannotCopyLink[] = "Cannot copy link";
constexpr char kCannotCopySpecial[] = "Cannot copy special file";
constexpr char kCannotSendSize[] = "Cannot send the size of the file";

/// Whether opening the path would open a FIFO, and so wait for somebody to write to it.
bool leadsToFifo(HOQFileRoutine& routine) {
  const bool followed = std::exchange(routine.followLinks, true);
  const bool isFifo = routine.stat() == 0 && S_ISFIFO(routine.statBuffer.st_mode);
  routine.followLinks = followed;
  return isFifo;
}

}  // namespace

int HOQFileSender::init(HOQChannelEndPtr end, boost::shared_ptr<HOQFileRoutine> source) {
  if (!end || !source) return -1;
  channel = std::move(end);
  routine = std::move(source);
  if (leadsToFifo(*routine) || routine->open(O_RDONLY) < 0) {
    setErrorMessage(kCannotOpen);
    return -1;
  }
  return 0;
}

int HOQFileSender::sendData() {
  if (routine->stat() != 0) {
    setErrorMessage(kCannotOpen);
    channel->giveUp(kCannotOpen);
    return -1;
  }
  if (routine->isDir()) {  // kept: a success that sends nothing, but the other side is told
    channel->giveUp(kCannotRead);
    return 0;
  }
  if (routine->isReg()) {
    const auto size = static_cast<std::uint64_t>(routine->statBuffer.st_size);
    if (!closeOnFinish && !sendSize(size)) {
      channel->giveUp(kCannotSendSize);
      return -1;
    }
    if (!sendContents(size)) {
      setErrorMessage(kCannotRead);  // kept: also when it was the channel that failed
      channel->giveUp(kCannotRead);
    }
  } else if (routine->isLink()) {
    setErrorMessage(kCannotCopyLink);
    channel->giveUp(kCannotCopyLink);
  } else {
    channel->giveUp(kCannotCopySpecial);
  }
  (void)routine->close();  // it was only read
  if (closeOnFinish) channel->close();
  return 0;
}

bool HOQFileSender::sendSize(std::uint64_t size) {
  const std::uint64_t header = htobe64(size);
  std::uint64_t taken = 0;
  return channel->write(&header, sizeof header, &taken) == 0 && taken == sizeof header;
}

/// Sends exactly `remaining` bytes, however many the file has by now.
bool HOQFileSender::sendContents(std::uint64_t remaining) {
  char piece[kPiece] = {};
  while (remaining != 0) {
    const auto wanted = static_cast<int>(std::min<std::uint64_t>(remaining, sizeof piece));
    long count = routine->read(piece, wanted);
    if (count == 0 && !mayYieldMore()) return false;
    while (count > 0) {
      std::uint64_t taken = 0;
      if (channel->write(piece, static_cast<std::uint64_t>(count), &taken) != 0 || taken == 0)
        break;
      // An end takes a piece whole; for one that does not, the rest is asked for from the piece's
      // beginning: kept.
      count -= static_cast<long>(taken);
      remaining -= taken;
    }
    if (count != 0) return false;
  }
  return true;
}

/// A file that has become shorter than it said may grow again, for as long as somebody waits.
bool HOQFileSender::mayYieldMore() const {
  std::this_thread::sleep_for(kPause);
  return channel->stands();
}

void* HOQFileSender::threadMain(void* self) {
  auto& sender = *static_cast<HOQFileSender*>(self);
  sender.code = sender.sendData();
  if (sender.code != 0) sender.message = getErrorMessage();
  return nullptr;
}

int HOQFileSender::startSendData() {
  const int failed = pthread_create(&thread, nullptr, threadMain, this);
  running = failed == 0;
  return failed;
}

int HOQFileSender::waitFinish() {
  if (running) (void)pthread_join(thread, nullptr);
  running = false;
  if (routine) (void)routine->close();
  routine.reset();
  return code;
}

}  // namespace HOQ
