#include "LocalNode.h"

#include <unistd.h>

#include <climits>
#include <utility>

#include <hoq/HOQLibFunctionality.h>
#include <hoq/HOQRequestModificator.h>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

constexpr const char kPluginFile[] = "libHOQFileManagerLocal.so";

/// Where the plugin lies, seen from the program's folder: built, then installed.
constexpr const char* kPluginFolders[] = {"/../lib/", "/../" HOQ_INSTALL_LIBDIR "/hoq/plugins/",
                                          "/../lib/hoq/plugins/"};

std::string programFolder() {
  char path[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) return ".";
  const std::string program(path, static_cast<std::size_t>(length));
  return program.substr(0, program.rfind('/'));
}

std::string defaultPlugin() {
  const std::string folder = programFolder();
  for (const char* place : kPluginFolders) {
    std::string file = folder + place + kPluginFile;
    if (::access(file.c_str(), F_OK) == 0) return file;
  }
  throw CommandError(kExitFailed, std::string("cannot find the plugin ") + kPluginFile +
                                      " beside " + folder + "; name it with --plugin FILE");
}

/// A name without a "/" would be looked up among the system's libraries.
std::string asPath(const std::string& file) {
  return file.find('/') == std::string::npos ? "./" + file : file;
}

}  // namespace

LocalNode::LocalNode(const std::string& file, Rights rights)
    : client_(new HOQClientContext("hoq", rights.read, rights.change)), scope_(client_) {
  const std::string why = loader_.load(file.empty() ? defaultPlugin() : asPath(file));
  if (!why.empty()) throw CommandError(kExitFailed, why);
}

std::unique_ptr<Node::Stay> LocalNode::enter() {
  struct LocalStay : Stay {
    explicit LocalStay(const HOQAccessChecker::ClientContextPtr& client) : scope(client) {}
    HOQAccessChecker::Scope scope;
  };
  return std::make_unique<LocalStay>(client_);
}

boost::shared_ptr<HOQFiler> LocalNode::filer(const std::string& directory,
                                             HOQRequestHandlerPtr handler) {
  const auto filer =
      HOQFunctionality<HOQLibFunctionality>::kit().getFilerMultiplexer().createLocal("", nullptr);
  if (!filer) throw CommandError(kExitFailed, "the plugin has registered no file manager");
  HOQRequestModificator::of(*filer).sync(std::move(handler), "");
  filer->setCwd(directory);
  return filer;
}

}  // namespace HOQ::cli
