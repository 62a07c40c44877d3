#pragma once

#include <iosfwd>
#include <string>

#include "routine/HOQFileRoutineLin.h"

namespace HOQ::test {

/// The operations of a routine that may fail.
enum class Call {
  ConvownNames,
  Getown,
  OwnerNames,
  Chown,
  Chmod,
  Link,
  Readlink,
  Rmlink,
  Remove,
  Rmdir,
  Rmitem,
  Mkdir,
  Copy,
  Move,
  Stat,
  Fill,
  Open,
  Close,
  Read,
  Write,
  Seek,
  Opendir,
  Readdir,
};

/// "stat", "rmitem" and so on.
const char* nameOf(Call call);
std::ostream& operator<<(std::ostream& out, Call call);

/// The Linux routine with a word to say before each of its calls. What a call calls in turn is
/// asked for as well.
class HookedRoutine : public HOQFileRoutineLin {
 public:
  using HOQFileRoutineLin::HOQFileRoutineLin;

  int convown(const char* user, const char* group, void*& owner) override;
  using HOQFileRoutineLin::convown;
  int convown(void* owner, std::string& user, std::string& group) override;
  int getown(void*& owner) override;
  int chown(void* owner) override;
  int chmod(int mode) override;
  int link(const char* target, bool symbolic) override;
  int readlink(char* buf, unsigned long size) override;
  int rmlink() override;
  int remove() override;
  int rmdir() override;
  int rmitem() override;
  int mkdir(HOQFileRoutine* from) override;
  int copy(HOQFileRoutine& dst) override;
  int move(HOQFileRoutine& dst) override;
  int stat() override;
  int fill(HOQFileType& info, const char* name, bool keepName, unsigned mask) override;
  int open(int flags) override;
  int close() override;
  long read(char* buf, int len) override;
  long write(const char* buf, int len) override;
  int seek(long long offset) override;
  int opendir(void*& handle) override;
  int readdir(void* handle) override;

 protected:
  /// Before a call on the current path: 0 lets it happen, an error number fails it with that.
  virtual int before(Call call) = 0;

 private:
  bool refused(Call call);
};

}  // namespace HOQ::test
