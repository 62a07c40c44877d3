#include "spawner/ControlGroups.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <system_error>

#include "tls/UniqueFd.h"

namespace HOQ::agent {
namespace {

/// Processes and threads of a worker: several times what its calls can need, and far from what
/// would keep the machine from making any more.
constexpr int kProcesses = 1024;

constexpr const char* kAttributes[] = {"user.delegate", "trusted.delegate"};

/// The path below the mount, as the last field of the line "0::/path" says.
std::string pathOfOwnGroup() {
  std::ifstream list("/proc/self/cgroup");
  for (std::string line; std::getline(list, line);) {
    if (line.rfind("0::", 0) == 0) return line.substr(3);
  }
  return "";
}

/// Where the hierarchy of version 2 is mounted from its root on; see proc(5), mountinfo.
std::string mountPoint() {
  std::ifstream list("/proc/self/mountinfo");
  for (std::string line; std::getline(list, line);) {
    const std::size_t dash = line.find(" - cgroup2 ");
    if (dash == std::string::npos) continue;
    std::istringstream fields(line);
    std::string id, parent, device, root, point;
    fields >> id >> parent >> device >> root >> point;
    if (root == "/") return point;
  }
  return "";
}

/// 0, or the error.
int put(const std::string& file, const std::string& text) {
  const tls::UniqueFd fd(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
  if (!fd) return errno;
  return ::write(fd.get(), text.data(), text.size()) < 0 ? errno : 0;
}

}  // namespace

std::string delegatedControlGroup() {
  const std::string path = pathOfOwnGroup();
  const std::string mount = mountPoint();
  if (path.empty() || path == "/" || mount.empty()) return "";
  const std::string folder = mount + path;
  const auto isOne = [&folder](const char* attribute) {
    char value = 0;
    return ::getxattr(folder.c_str(), attribute, &value, 1) == 1 && value == '1';
  };
  return std::any_of(std::begin(kAttributes), std::end(kAttributes), isOne) ? folder : "";
}

ControlGroups::ControlGroups(std::string folder, const std::vector<pid_t>& processes)
    : folder_(std::move(folder)) {
  if (folder_.empty()) return;
  const std::string own = folder_ + "/daemon";
  bool isDivided = ::mkdir(own.c_str(), 0755) == 0 || errno == EEXIST;
  for (const pid_t process : processes) {
    isDivided = isDivided && put(own + "/cgroup.procs", std::to_string(process)) == 0;
  }
  if (!isDivided) {
    folder_.clear();
    return;
  }
  // What is not to be had is not counted: limits of the process itself hold anyhow.
  for (const char* controller : {"+memory", "+pids"}) {
    (void)put(folder_ + "/cgroup.subtree_control", controller);
  }
}

ControlGroups::~ControlGroups() { sweep(); }

std::string ControlGroups::make(const WorkerPlan& plan) {
  if (folder_.empty()) return "";
  std::string group;
  int error = EEXIST;  // one that an earlier daemon left
  while (error == EEXIST) {
    group = folder_ + "/worker-" + std::to_string(++last_);
    error = ::mkdir(group.c_str(), 0755) == 0 ? 0 : errno;
  }
  if (error != 0) return "";
  (void)put(group + "/pids.max", std::to_string(kProcesses));
  if (plan.memoryMib != 0) {
    (void)put(group + "/memory.max", std::to_string(std::uint64_t{plan.memoryMib} << 20));
  }
  return group;
}

void ControlGroups::end(const std::string& group) {
  if (group.empty()) return;
  (void)put(group + "/cgroup.kill", "1");
  ended_.push_back(group);
  sweep();
}

void ControlGroups::sweep() {
  std::erase_if(ended_, [](const std::string& group) {
    return ::rmdir(group.c_str()) == 0 || errno != EBUSY;
  });
}

std::string enterControlGroup(const std::string& group) {
  const int error = put(group + "/cgroup.procs", "0");
  return error == 0 ? "" : "control group: " + std::generic_category().message(error);
}

}  // namespace HOQ::agent
