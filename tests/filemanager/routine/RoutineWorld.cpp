#include "filemanager/routine/RoutineWorld.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "routine/HOQFileRoutineLin.h"
#include "support/MemoryRoutine.h"
#include "support/TempDir.h"

namespace HOQ::test {
namespace {

class LinuxWorld : public RoutineWorld {
 public:
  std::unique_ptr<HOQFileRoutine> at(const std::string& name) override {
    return std::make_unique<HOQFileRoutineLin>(name.empty() ? place_.path() : place_ / name);
  }
  std::string userName() override {
    const passwd* user = getpwuid(geteuid());
    return user != nullptr ? user->pw_name : "";
  }
  std::string groupName() override {
    const group* own = getgrgid(getegid());
    return own != nullptr ? own->gr_name : "";
  }
  unsigned uid() override { return geteuid(); }
  unsigned gid() override { return getegid(); }
  void makeFifo(const std::string& name) override {
    ASSERT_EQ(mkfifo((place_ / name).c_str(), 0640), 0);
  }
  unsigned kind() override { return 2; }

 private:
  TempDir place_;
};

class MemoryWorld : public RoutineWorld {
 public:
  MemoryWorld() {
    MemoryFs::NodePtr place;
    if (fs_.create("/place", S_IFDIR | 0755, place) != 0) ADD_FAILURE() << "no place to work in";
    fs_.users.push_back({"memory-user", kUid});
    fs_.groups.push_back({"memory-group", kGid});
  }

  std::unique_ptr<HOQFileRoutine> at(const std::string& name) override {
    return std::make_unique<MemoryRoutine>(fs_, name.empty() ? "/place" : "/place/" + name);
  }
  std::string userName() override { return "memory-user"; }
  std::string groupName() override { return "memory-group"; }
  unsigned uid() override { return kUid; }
  unsigned gid() override { return kGid; }
  void makeFifo(const std::string& name) override {
    MemoryFs::NodePtr node;
    ASSERT_EQ(fs_.create("/place/" + name, S_IFIFO | 0640, node), 0);
  }
  unsigned kind() override { return MemoryRoutine::kKind; }

 private:
  static constexpr unsigned kUid = 4001;
  static constexpr unsigned kGid = 4002;
  MemoryFs fs_;
};

}  // namespace

std::unique_ptr<RoutineWorld> makeLinuxWorld() { return std::make_unique<LinuxWorld>(); }
std::unique_ptr<RoutineWorld> makeMemoryWorld() { return std::make_unique<MemoryWorld>(); }

void RoutineContract::makeFile(const std::string& name, const std::string& text) {
  const auto routine = at(name);
  errno = 0;
  ASSERT_EQ(routine->open(O_WRONLY | O_CREAT | O_EXCL), 0) << name;
  ASSERT_EQ(routine->write(text.data(), static_cast<int>(text.size())),
            static_cast<long>(text.size()));
  ASSERT_EQ(routine->close(), 0);
}

void RoutineContract::makeDirectory(const std::string& name) {
  errno = 0;
  ASSERT_EQ(at(name)->mkdir(nullptr), 0) << name;
}

void RoutineContract::makeLink(const std::string& name, const std::string& target) {
  ASSERT_EQ(at(name)->link(target.c_str(), true), 0) << name;
}

std::string RoutineContract::textOf(const std::string& name) {
  const auto routine = at(name);
  errno = 0;
  if (routine->open(O_RDONLY) != 0) {
    ADD_FAILURE() << "cannot open " << name;
    return "?";
  }
  char text[4096];
  const long length = routine->read(text, sizeof text);
  EXPECT_EQ(routine->close(), 0);
  return length < 0 ? "?" : std::string(text, static_cast<std::size_t>(length));
}

bool RoutineContract::exists(const std::string& name) { return at(name)->stat() == 0; }

unsigned RoutineContract::modeOf(const std::string& name) {
  const auto routine = at(name);
  EXPECT_EQ(routine->stat(), 0) << name;
  return routine->statBuffer.st_mode & 07777U;
}

}  // namespace HOQ::test
