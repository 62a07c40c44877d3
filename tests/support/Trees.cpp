#include "support/Trees.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace HOQ::test::trees {
namespace {

void check(bool done, const std::string& what) {
  if (!done) throw std::runtime_error("tree: " + what + ": " + std::strerror(errno));
}

void makeDirectories(const std::string& root, const std::string& relative) {
  for (std::size_t at = relative.find('/'); at != std::string::npos;
       at = relative.find('/', at + 1)) {
    const std::string prefix = root + "/" + relative.substr(0, at);
    check(mkdir(prefix.c_str(), 0755) == 0 || errno == EEXIST, "make directory " + prefix);
  }
}

void writeFile(const std::string& path, const std::string& text) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  check(fd >= 0, "make " + path);
  const ssize_t written = write(fd, text.data(), text.size());
  const bool whole = written == static_cast<ssize_t>(text.size());
  check(close(fd) == 0 && whole, "write " + path);
}

void makeSocket(const std::string& directory, const std::string& name) {
  // Bound through the descriptor of its directory: a socket's address is too short for long paths.
  const int at = open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  check(at >= 0, "open " + directory);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", at, name.c_str());
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  check(fd >= 0, "make a socket");
  const int bound = bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  check(bound == 0, "bind " + name);
  close(fd);
  close(at);
}

/// Takes "%MODE" off the end of `name`; -1 where there is none.
int takeMode(std::string& name) {
  const std::size_t percent = name.rfind('%');
  if (percent == std::string::npos) return -1;
  const int mode = std::stoi(name.substr(percent + 1), nullptr, 8);
  name.erase(percent);
  return mode;
}

/// Makes one item and returns its path (relative) and mode, -1 for the usual one.
std::pair<std::string, int> makeItem(const std::string& root, std::string item) {
  if (const std::size_t arrow = item.find("->"); arrow != std::string::npos) {
    const std::string name = item.substr(0, arrow);
    makeDirectories(root, name);
    check(symlink(item.substr(arrow + 2).c_str(), (root + "/" + name).c_str()) == 0, item);
    return {name, -1};
  }
  if (const std::size_t arrow = item.find("=>"); arrow != std::string::npos) {
    const std::string name = item.substr(0, arrow);
    makeDirectories(root, name);
    const std::string target = root + "/" + item.substr(arrow + 2);
    check(link(target.c_str(), (root + "/" + name).c_str()) == 0, item);
    return {name, -1};
  }
  if (const std::size_t equals = item.find('='); equals != std::string::npos) {
    std::string name = item.substr(0, equals);
    const int mode = takeMode(name);
    makeDirectories(root, name);
    writeFile(root + "/" + name, item.substr(equals + 1));
    return {name, mode};
  }
  const int mode = takeMode(item);
  makeDirectories(root, item);
  if (item.back() == '/') {
    item.pop_back();
    return {item, mode};
  }
  if (item.back() == '|') {
    item.pop_back();
    check(mkfifo((root + "/" + item).c_str(), 0644) == 0, item);
    return {item, mode};
  }
  if (item.back() == '~') {
    item.pop_back();
    const std::string path = root + "/" + item;
    const std::size_t slash = path.rfind('/');
    makeSocket(path.substr(0, slash), path.substr(slash + 1));
    return {item, mode};
  }
  writeFile(root + "/" + item, "");
  return {item, mode};
}

std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F && c != '\\') {
      out += c;
    } else {
      char code[5];
      std::snprintf(code, sizeof code, "\\x%02X", byte);
      out += code;
    }
  }
  return out;
}

std::vector<std::string> sortedNames(const std::string& directory) {
  DIR* stream = opendir(directory.c_str());
  check(stream != nullptr, "read " + directory);
  std::vector<std::string> names;
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(stream);
  std::sort(names.begin(), names.end());
  return names;
}

std::string linkText(const std::string& path) {
  char text[4096];
  const ssize_t length = readlink(path.c_str(), text, sizeof text);
  check(length >= 0, "read link " + path);
  return std::string(text, static_cast<std::size_t>(length));
}

std::string fileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void describe(const std::string& root, const std::string& relative, Show show,
              std::vector<std::string>& items) {
  const std::string path = relative.empty() ? root : root + "/" + relative;
  for (const std::string& name : sortedNames(path)) {
    const std::string item = relative.empty() ? name : relative + "/" + name;
    const std::string full = root + "/" + item;
    struct stat info;
    check(lstat(full.c_str(), &info) == 0, "examine " + full);
    const std::string shown = escaped(item);
    if (S_ISDIR(info.st_mode)) {
      const bool empty = sortedNames(full).empty();
      if (empty || show == Show::kEveryDirectory) items.push_back(shown + "/");
      describe(root, item, show, items);
    } else if (S_ISLNK(info.st_mode)) {
      items.push_back(shown + "->" + escaped(linkText(full)));
    } else if (S_ISREG(info.st_mode)) {
      items.push_back(info.st_size == 0 ? shown : shown + "=" + escaped(fileText(full)));
    } else {
      items.push_back(shown + (S_ISFIFO(info.st_mode) ? "|" : S_ISSOCK(info.st_mode) ? "~" : "?"));
    }
  }
}

void collectPaths(const std::string& root, const std::string& relative,
                  std::vector<std::string>& paths) {
  for (const std::string& name : sortedNames(relative.empty() ? root : root + "/" + relative)) {
    const std::string item = relative.empty() ? name : relative + "/" + name;
    paths.push_back(item);
    struct stat info;
    check(lstat((root + "/" + item).c_str(), &info) == 0, "examine " + item);
    if (S_ISDIR(info.st_mode)) collectPaths(root, item, paths);
  }
}

}  // namespace

void make(const std::string& root, const std::string& line) {
  std::vector<std::pair<std::string, int>> modes;
  std::istringstream words(line);
  for (std::string item; words >> item;) {
    const auto made = makeItem(root, item);
    if (made.second >= 0) modes.push_back(made);
  }
  // Innermost last items first, so that a mode without rights does not bar the way to the next.
  for (auto mode = modes.rbegin(); mode != modes.rend(); ++mode)
    check(chmod((root + "/" + mode->first).c_str(), static_cast<mode_t>(mode->second)) == 0,
          "chmod " + mode->first);
}

std::string snapshot(const std::string& root, Show show) {
  std::vector<std::string> items;
  describe(root, "", show, items);
  std::string line;
  for (const std::string& item : items) line += (line.empty() ? "" : " ") + item;
  return line;
}

std::vector<std::string> pathsBelow(const std::string& root) {
  std::vector<std::string> paths;
  collectPaths(root, "", paths);
  return paths;
}

void flat(const std::string& root) { make(root, "a=1 b=22 c=333 empty .hidden=4444"); }

void links(const std::string& root) {
  make(root,
       "d/ d/f=text d/up->.. file->d/f directory->d dangling->nowhere self->self "
       "ping->pong pong->ping here->.");
}

std::vector<std::string> everyByteNames(const std::string& root) {
  std::vector<std::string> names = {
      "-",  "a\nb",         "100%s%n", "%%",       " ",
      "*",  "[ab]",         "?x",      "...",      "..x",
      "-r", "\xff\xfe\xc3", "\\",      "tab\tbed", std::string(255, 'n')};
  for (int byte = 1; byte < 256; ++byte)
    if (byte != '/') names.push_back(std::string("b") + static_cast<char>(byte) + "e");
  for (const std::string& name : names) writeFile(root + "/" + name, "");
  return names;
}

void deepChain(const std::string& root, int levels) {
  int at = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  check(at >= 0, "open " + root);
  for (int level = 0; level < levels; ++level) {
    check(mkdirat(at, "d", 0755) == 0, "make a level");
    const int next = openat(at, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    check(next >= 0, "enter a level");
    close(at);
    at = next;
    const int file = openat(at, "f", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    check(file >= 0, "make a level's file");
    check(write(file, "x", 1) == 1, "write a level's file");
    close(file);
  }
  close(at);
}

void unreadable(const std::string& root) {
  make(root,
       "after=1 barred/%0 barred/f=22 barred/sub/g=3 before=4444 open/h=5 open/shut/%0 secret%0=6");
}

void everyKind(const std::string& root) {
  make(root, "directory/ empty fifo| file=text link->file dangling->nowhere socket~ twin=>file");
}

}  // namespace HOQ::test::trees
