#include "Session.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include <hoq/HOQResultCodes.h>
#include <hoq/canonizePath.h>

#include "ExitStatus.h"
#include "node/RemoteNode.h"

namespace HOQ::cli {
namespace {

std::string currentDirectory() {
  char path[PATH_MAX];
  if (::getcwd(path, sizeof path) != nullptr) return path;
  const int error = errno;
  throw CommandError(kExitFailed,
                     std::string("cannot tell the current directory: ") + std::strerror(error));
}

}  // namespace

Session::Session(const Settings& settings)
    : settings_(settings),
      started_(std::chrono::steady_clock::now()),
      output_(STDOUT_FILENO),
      console_(STDERR_FILENO, settings.quiet && settings.progress == When::kAuto
                                  ? When::kNever
                                  : settings.progress),
      news_(new News(items_)) {}

Node& Session::node(Rights rights) {
  if (node_) return *node_;
  HOQContentsEngine::choose(settings_.engine);
  if (isRemote())
    node_ = std::make_unique<RemoteNode>(network(), settings_.node);
  else
    node_ = std::make_unique<LocalNode>(settings_.plugin, rights);
  console_.startProgress(items_);
  return *node_;
}

Network& Session::network() {
  if (!network_) network_ = std::make_unique<Network>(settings_.files);
  return *network_;
}

const std::string& Session::directory() {
  if (directory_.empty()) directory_ = startOf(isRemote());
  return directory_;
}

std::string Session::startOf(bool remote) const {
  std::string path = settings_.directory;
  if (path.empty() || path.front() != '/') path = (remote ? "" : currentDirectory()) + "/" + path;
  if (canonizePath(path, '/') != 0)
    throw CommandError(kExitFailed, "\"" + settings_.directory + "\", No such file or directory");
  return path;
}

boost::shared_ptr<HOQFiler> Session::filer(const std::string& directory) {
  return node().filer(directory, news_);
}

void Session::reportErrors() {
  for (const std::string& text : news_->takeErrors()) console_.error(text);
}

bool Session::showsColor() const {
  return settings_.color == When::kAlways ||
         (settings_.color == When::kAuto && output_.isTerminal());
}

void Session::finish() {
  console_.stopProgress();
  output_.flush();
  if (!settings_.verbose || settings_.quiet) return;
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - started_;
  const std::string done = summary_.empty() ? fmt::format("{} items", items_.load()) : summary_;
  console_.line(fmt::format("{}, {:.3f} s", done, seconds.count()));
}

ExitStatus statusOf(int code) {
  return code == 0 ? kExitDone : code == kAccessRefused ? kExitRefused : kExitFailed;
}

}  // namespace HOQ::cli
