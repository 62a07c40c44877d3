#pragma once

#include <pthread.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <string>

#include <hoq/HOQChannelEndPrototype.h>
#include <hoq/HOQRequestErrorData.h>

#include "routine/HOQFileRoutine.h"

namespace HOQ {

/// Sends the contents of one regular file into a channel: its size in 8 bytes, the most significant
/// first, then its bytes. With closeOnFinish there is no size, and the channel's end is the data's.
///
/// init(), then either sendData(), or startSendData() and one waitFinish(): between the two the
/// object is the thread's alone, and it must outlive the thread. The record that it is takes the
/// thread's outcome: the code, and the error text where the code is not 0.
///
/// What goes wrong once the size was sent does not show in a code, only in the calling thread's
/// error text; and the channel's end is given up, so that the other side learns of it.
class HOQFileSender : public HOQRequestErrorData {
 public:
  HOQFileSender() : HOQRequestErrorData(0, std::string()) {}

  /// Opens the file at the routine's path for reading; a FIFO is refused, since opening it would
  /// wait. -1: an empty argument (no text), or the file cannot be opened.
  int init(HOQChannelEndPtr end, boost::shared_ptr<HOQFileRoutine> source);

  /// Sends, and closes the file. -1: the file cannot be examined or its size not be sent; the file
  /// then stays open. A directory sends nothing, and it too stays open.
  int sendData();

  /// The same in a thread. 0, or the error number that says why there is none.
  int startSendData();
  static void* threadMain(void* self);

  /// Waits for the thread, closes the file and lets it go. The code of sendData().
  int waitFinish();

  void setCloseOnFinish(bool close) { closeOnFinish = close; }

 private:
  bool sendSize(std::uint64_t size);
  bool sendContents(std::uint64_t remaining);
  bool mayYieldMore() const;

  HOQChannelEndPtr channel;
  boost::shared_ptr<HOQFileRoutine> routine;
  pthread_t thread{};
  bool closeOnFinish = false;
  bool running = false;  // a thread was started and not waited for
};

}  // namespace HOQ
