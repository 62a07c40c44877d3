#include "haul/HOQFileReceiver.h"

#include <endian.h>
#include <fcntl.h>

#include <algorithm>
#include <limits>
#include <utility>

#include <hoq/HOQErrorMessage.h>

namespace HOQ {
namespace {

constexpr std::size_t kPiece = 4096;

constexpr char kCannotOpen[] = "Cannot open file to write";
constexpr char kCannotWrite[] = "Cannot write to file";
constexpr char kNoSize[] = "The size of the file did not come";
constexpr char kEndsEarly[] = "The data ended before the end of the file";
constexpr char kTooMuch[] = "More data came than the file has";

}  // namespace

int HOQFileReceiver::init(HOQChannelEndPtr end, boost::shared_ptr<HOQFileRoutine> target,
                          const HOQFilerOptions& options) {
  if (!end || !target) return -1;
  channel = std::move(end);
  routine = std::move(target);
  const int exclusive = options.has(HOQFilerOptions::kOverwrite) ? 0 : O_EXCL;
  if (routine->open(O_WRONLY | O_CREAT | exclusive) < 0) {
    setErrorMessage(kCannotOpen);
    return -1;
  }
  return 0;
}

int HOQFileReceiver::receiveData() {
  std::uint64_t remaining = std::numeric_limits<std::uint64_t>::max();
  if (!closeOnFinish && !readSize(remaining)) {
    fallShort(kNoSize);
    return 1;
  }
  receiveContents(remaining);
  if (routine && routine->close() != 0) failToWrite();  // what was written may not be there
  routine.reset();
  if (closeOnFinish) channel->close();
  received = true;
  return 0;
}

bool HOQFileReceiver::readSize(std::uint64_t& size) {
  std::uint64_t header = 0;
  std::uint64_t got = 0;
  if (channel->read(&header, sizeof header, &got) != 0 || got != sizeof header) return false;
  size = be64toh(header);
  return true;
}

void HOQFileReceiver::receiveContents(std::uint64_t remaining) {
  char piece[kPiece] = {};
  while (remaining != 0) {
    std::uint64_t got = 0;
    const bool failed = channel->read(piece, sizeof piece, &got) != 0;
    if (failed || got == 0) {
      if (failed || !closeOnFinish) fallShort(kEndsEarly);
      return;
    }
    const std::uint64_t count = std::min(got, remaining);
    if (!writePiece(piece, count)) {
      failToWrite();
      return;
    }
    remaining -= count;
    if (got > count) fallShort(kTooMuch);
  }
}

/// False: there is nowhere to write to, it failed, or other bytes were written than came.
bool HOQFileReceiver::writePiece(const char* piece, std::uint64_t count) {
  bool asItCame = routine != nullptr;
  while (routine && count > 0) {
    const long written = routine->write(piece, static_cast<int>(count));
    if (written <= 0) return false;
    count -= static_cast<std::uint64_t>(written);
    // Kept: what is left is asked for from the piece's beginning, and so is not what came.
    if (count > 0) asItCame = false;
  }
  return asItCame;
}

void HOQFileReceiver::failToWrite() {
  setErrorMessage(kCannotWrite);
  fallShort(kCannotWrite);
}

/// The first reason counts, of whichever side.
void HOQFileReceiver::fallShort(const char* text) {
  channel->giveUp(text);
  if (!shortfall.empty()) return;
  shortfall = channel->failure();
  if (shortfall.empty()) shortfall = text;
}

void* HOQFileReceiver::threadMain(void* self) {
  auto& receiver = *static_cast<HOQFileReceiver*>(self);
  receiver.code = receiver.receiveData();
  if (receiver.code != 0) receiver.message = getErrorMessage();
  return nullptr;
}

int HOQFileReceiver::startReceiveData() {
  late = channel->hasAll();
  const int failed = late ? 0 : pthread_create(&thread, nullptr, threadMain, this);
  running = failed == 0;
  return failed;
}

/// As a thread would: the error text of whoever waits is his.
void HOQFileReceiver::runLate() {
  const std::string before = getErrorMessage();
  clearErrorMessage();
  (void)threadMain(this);
  setErrorMessage("%s", before);
}

int HOQFileReceiver::waitFinish() {
  if (running && late) runLate();
  if (running && !late) (void)pthread_join(thread, nullptr);
  running = false;
  if (routine) (void)routine->close();
  routine.reset();
  return code;
}

}  // namespace HOQ
