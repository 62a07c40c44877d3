#include "node/Network.h"

#include <dlfcn.h>

#include "ExitStatus.h"
#include "ProgramFolder.h"
#include "dial/TlsDialer.h"

namespace HOQ::cli {
namespace {

constexpr const char* kLibraryFolders[] = {"/../lib/", "/../" HOQ_INSTALL_LIBDIR "/"};
constexpr char kLibraryFile[] = "libhoqtransport.so." HOQ_PROGRAM_SOVERSION;

void* library() {
  const std::string beside = findBeside(kLibraryFile, kLibraryFolders);
  const std::string file = beside.empty() ? kLibraryFile : beside;  // else the system looks
  void* const handle = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (handle == nullptr)
    throw CommandError(kExitFailed, std::string("cannot reach other nodes: ") + ::dlerror());
  return handle;
}

template <class Function>
Function entry(void* handle, const char* name) {
  void* const found = ::dlsym(handle, name);
  if (found == nullptr)
    throw CommandError(kExitFailed, std::string(kLibraryFile) + " has no " + name);
  return reinterpret_cast<Function>(found);
}

}  // namespace

Network::Network(const ConnectionFiles& files) {
  void* const handle = library();
  const transport::TlsDialerSettings settings{files.authorities, files.certificate, files.key};
  dialer_.reset(entry<transport::NewTlsDialer>(handle, transport::kNewTlsDialer)(&settings));
  client_.reset(
      entry<transport::NewNodeClient>(handle, transport::kNewNodeClient)(dialer_.get(), nullptr));
  if (!client_) throw std::bad_alloc();
  HOQTransport::registerTransport(&client_->transport());
}

Network::~Network() { HOQTransport::registerTransport(nullptr); }

}  // namespace HOQ::cli
