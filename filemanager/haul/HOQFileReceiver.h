#pragma once

#include <pthread.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <string>

#include <hoq/HOQChannelEndPrototype.h>
#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQRequestErrorData.h>

#include "routine/HOQFileRoutine.h"

namespace HOQ {

/// Receives from a channel what an HOQFileSender sends, into a file that it makes. With
/// closeOnFinish no size comes first, and everything up to the end of the channel is taken.
///
/// init(), then either receiveData(), or startReceiveData() and one waitFinish(): between the two
/// the object is the thread's alone, but for giveUp(), and it must outlive the thread. The record
/// that it is takes the thread's outcome: the code, and the error text where the code is not 0.
///
/// A file that ends too early, or cannot be written, does not show in the code: ask isWhole(). The
/// channel's end is then given up, so that the other side learns of it.
class HOQFileReceiver : public HOQRequestErrorData {
 public:
  HOQFileReceiver() : HOQRequestErrorData(0, std::string()) {}

  /// Opens the file at the routine's path for writing: one that is there already only with the
  /// overwrite bit, and not cut short. -1: an empty argument (no text), or it cannot be opened.
  int init(HOQChannelEndPtr end, boost::shared_ptr<HOQFileRoutine> target,
           const HOQFilerOptions& options);

  /// Receives, closes the file and lets it go. 1: the size did not come; the file then stays open.
  int receiveData();

  /// The same in a thread, or, where all bytes are there already, in waitFinish(): to hand a small
  /// file over costs more than to receive it. 0, or the error number that says why there is no
  /// thread. pthread_create(3).
  int startReceiveData();
  static void* threadMain(void* self);

  /// Waits until all is received, closes the file where that is still to do and lets it go. The
  /// code of receiveData().
  int waitFinish();

  void setCloseOnFinish(bool close) { closeOnFinish = close; }

  bool isRunning() const { return running; }  // it was started and not waited for

  /// Makes what runs end soon. The thread that waits for it.
  void giveUp(const std::string& text) { channel->giveUp(text); }

  /// Whether every byte came, was written, and the file was closed without an error; and if not,
  /// why. After receiveData() or waitFinish().
  bool isWhole() const { return received && shortfall.empty(); }
  const std::string& whyNotWhole() const { return shortfall; }

 private:
  void runLate();
  bool readSize(std::uint64_t& size);
  void receiveContents(std::uint64_t remaining);
  bool writePiece(const char* piece, std::uint64_t count);
  void fallShort(const char* text);
  void failToWrite();

  HOQChannelEndPtr channel;
  boost::shared_ptr<HOQFileRoutine> routine;
  pthread_t thread{};  // while running, unless it is late
  bool closeOnFinish = false;
  bool running = false;
  bool late = false;      // runs when it is waited for
  bool received = false;  // receiveData() has run to its end
  std::string shortfall;
};

}  // namespace HOQ
