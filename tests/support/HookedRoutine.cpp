#include "support/HookedRoutine.h"

#include <cerrno>
#include <ostream>

namespace HOQ::test {

const char* nameOf(Call call) {
  switch (call) {
    case Call::ConvownNames:
      return "convown(names)";
    case Call::Getown:
      return "getown";
    case Call::OwnerNames:
      return "convown(owner, names)";
    case Call::Chown:
      return "chown";
    case Call::Chmod:
      return "chmod";
    case Call::Link:
      return "link";
    case Call::Readlink:
      return "readlink";
    case Call::Rmlink:
      return "rmlink";
    case Call::Remove:
      return "remove";
    case Call::Rmdir:
      return "rmdir";
    case Call::Rmitem:
      return "rmitem";
    case Call::Mkdir:
      return "mkdir";
    case Call::Copy:
      return "copy";
    case Call::Move:
      return "move";
    case Call::Stat:
      return "stat";
    case Call::Fill:
      return "fill";
    case Call::Open:
      return "open";
    case Call::Close:
      return "close";
    case Call::Read:
      return "read";
    case Call::Write:
      return "write";
    case Call::Seek:
      return "seek";
    case Call::Opendir:
      return "opendir";
    case Call::Readdir:
      return "readdir";
  }
  return "?";
}

std::ostream& operator<<(std::ostream& out, Call call) { return out << nameOf(call); }

bool HookedRoutine::refused(Call call) {
  const int kept = errno;  // of the caller: some calls read it after success
  const int error = before(call);
  errno = error != 0 ? error : kept;
  return error != 0;
}

int HookedRoutine::convown(const char* user, const char* group, void*& owner) {
  return refused(Call::ConvownNames) ? -1 : HOQFileRoutineLin::convown(user, group, owner);
}

int HookedRoutine::convown(void* owner, std::string& user, std::string& group) {
  return refused(Call::OwnerNames) ? -1 : HOQFileRoutineLin::convown(owner, user, group);
}

int HookedRoutine::getown(void*& owner) {
  return refused(Call::Getown) ? -1 : HOQFileRoutineLin::getown(owner);
}

int HookedRoutine::chown(void* owner) {
  return refused(Call::Chown) ? -1 : HOQFileRoutineLin::chown(owner);
}

int HookedRoutine::chmod(int mode) {
  return refused(Call::Chmod) ? -1 : HOQFileRoutineLin::chmod(mode);
}

int HookedRoutine::link(const char* target, bool symbolic) {
  return refused(Call::Link) ? -1 : HOQFileRoutineLin::link(target, symbolic);
}

int HookedRoutine::readlink(char* buf, unsigned long size) {
  return refused(Call::Readlink) ? -1 : HOQFileRoutineLin::readlink(buf, size);
}

int HookedRoutine::rmlink() { return refused(Call::Rmlink) ? -1 : HOQFileRoutineLin::rmlink(); }

int HookedRoutine::remove() { return refused(Call::Remove) ? -1 : HOQFileRoutineLin::remove(); }

int HookedRoutine::rmdir() { return refused(Call::Rmdir) ? -1 : HOQFileRoutineLin::rmdir(); }

int HookedRoutine::rmitem() { return refused(Call::Rmitem) ? -1 : HOQFileRoutineLin::rmitem(); }

int HookedRoutine::mkdir(HOQFileRoutine* from) {
  return refused(Call::Mkdir) ? -1 : HOQFileRoutineLin::mkdir(from);
}

int HookedRoutine::copy(HOQFileRoutine& dst) {
  return refused(Call::Copy) ? -1 : HOQFileRoutineLin::copy(dst);
}

int HookedRoutine::move(HOQFileRoutine& dst) {
  return refused(Call::Move) ? -1 : HOQFileRoutineLin::move(dst);
}

int HookedRoutine::stat() { return refused(Call::Stat) ? -1 : HOQFileRoutineLin::stat(); }

int HookedRoutine::fill(HOQFileType& info, const char* name, bool keepName, unsigned mask) {
  return refused(Call::Fill) ? -1 : HOQFileRoutineLin::fill(info, name, keepName, mask);
}

int HookedRoutine::open(int flags) {
  return refused(Call::Open) ? -1 : HOQFileRoutineLin::open(flags);
}

int HookedRoutine::close() {
  if (!refused(Call::Close)) return HOQFileRoutineLin::close();
  // As the system does it: the descriptor is gone even when close reports a failure.
  const int error = errno;
  (void)HOQFileRoutineLin::close();  // the planned failure is the one to report
  errno = error;
  return -1;
}

long HookedRoutine::read(char* buf, int len) {
  return refused(Call::Read) ? -1 : HOQFileRoutineLin::read(buf, len);
}

long HookedRoutine::write(const char* buf, int len) {
  return refused(Call::Write) ? -1 : HOQFileRoutineLin::write(buf, len);
}

int HookedRoutine::seek(long long offset) {
  return refused(Call::Seek) ? -1 : HOQFileRoutineLin::seek(offset);
}

int HookedRoutine::opendir(void*& handle) {
  return refused(Call::Opendir) ? -1 : HOQFileRoutineLin::opendir(handle);
}

int HookedRoutine::readdir(void* handle) {
  return refused(Call::Readdir) ? -1 : HOQFileRoutineLin::readdir(handle);
}

}  // namespace HOQ::test
