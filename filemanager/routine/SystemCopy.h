#pragma once

#include <sys/types.h>

namespace HOQ {

class HOQFileRoutine;

/// Has the system carry the contents of one open file into another, as far as it does that by
/// itself: by sharing their blocks, by copying inside the kernel, by leaving holes out.
///
/// It reports nothing. Whatever stops it, both files stand behind what has been carried, and
/// whoever reads and writes on from there meets what is wrong, with its errno. One thread.
class SystemCopy {
 public:
  /// From where `source` stands to where `target` does. Both are open, and not owned. A file that
  /// was examined and found small is left to reading and writing; so is all that is not of Linux
  /// routines.
  SystemCopy(HOQFileRoutine& source, HOQFileRoutine& target);

  /// Carries what can be carried from here. How many bytes there are to be read in one go before a
  /// hole that can be left out, at most `most`; what is read must be written before the next call.
  long advance(long most);

  /// Up to here reading and writing is as good.
  static constexpr long kSmall = 256 * 1024;

 private:
  bool share();
  off_t dataEnd();
  void meetEnd();
  bool copyTo(off_t end);
  void stand() const;

  int from_ = -1;
  int to_ = -1;
  off_t fromAt_ = 0;
  off_t toAt_ = 0;
  bool leavesHoles_ = false;  // nothing stands in the target behind its position
  bool copies_ = true;        // the system has not refused to copy
  bool active_ = false;
};

}  // namespace HOQ
