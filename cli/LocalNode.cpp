#include "LocalNode.h"

#include <utility>

#include <hoq/HOQLibFunctionality.h>
#include <hoq/HOQRequestModificator.h>

#include "ExitStatus.h"
#include "ProgramFolder.h"

namespace HOQ::cli {
namespace {

constexpr const char kPluginFile[] = "libHOQFileManagerLocal.so";

/// Where the plugin lies, seen from the program's folder: built, then installed.
constexpr const char* kPluginFolders[] = {"/../lib/", "/../" HOQ_INSTALL_LIBDIR "/hoq/plugins/",
                                          "/../lib/hoq/plugins/"};

std::string defaultPlugin() {
  std::string file = findBeside(kPluginFile, kPluginFolders);
  if (!file.empty()) return file;
  throw CommandError(kExitFailed, std::string("cannot find the plugin ") + kPluginFile +
                                      " beside " + programFolder() + "; name it with --plugin FILE");
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
