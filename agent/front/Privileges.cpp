#include "front/Privileges.h"

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include <hoq/HOQIdentity.h>

#include "config/AddressCheck.h"
#include "tls/Address.h"

namespace HOQ::agent {
namespace {

std::string failure(const std::string& what, int error) {
  return what + ": " + std::generic_category().message(error);
}

/// Whether the folder of a UNIX socket is root's, so that its user cannot make a name there.
bool isInRootsFolder(const tls::Address& address) {
  const std::string& path = address.path();
  const std::size_t slash = path.rfind('/');
  struct stat info {};
  return ::stat(slash == 0 ? "/" : path.substr(0, slash).c_str(), &info) == 0 && info.st_uid == 0;
}

}  // namespace

Listeners::Opened openAsRoot(const Configuration& configuration,
                             std::vector<std::string>& problems) {
  Listeners::Opened opened;
  for (const std::string& text : configuration.listen) {
    const auto address = tls::Address::parse(text);
    if (!address || (address->isUnix() && !isInRootsFolder(*address))) continue;
    auto listeners = tls::listenOn(*address);
    if (listeners) {
      opened.emplace(text, std::move(*listeners));
    } else {
      problems.push_back(configuration.complaint("listen", listeners.error().text));
    }
  }
  return opened;
}

std::string makeStateFolder(const Configuration& configuration) {
  HOQUserCredentials user = emptyCredentials();
  if (credentialsOf(configuration.user, user) != 0) return failure("user", errno);
  const std::string& folder = configuration.state;
  if (::mkdir(folder.c_str(), 0700) != 0) {
    const int error = errno;
    return error == EEXIST ? "" : failure("cannot make the folder " + folder, error);
  }
  // Nobody but root can have put something else in its place: its parent is not everybody's, or
  // is sticky. A link would not be followed in any case.
  if (::lchown(folder.c_str(), user.uid, user.gids.front()) == 0) return "";
  return failure("cannot give away the folder " + folder, errno);
}

std::string dropRoot(const Configuration& configuration) {
  HOQUserCredentials user = emptyCredentials();
  if (credentialsOf(configuration.user, user) != 0) {
    return "there is no user \"" + configuration.user + "\"";
  }
  if (takeIdentity(user) != 0) {
    return failure("cannot become the user \"" + configuration.user + "\"", errno);
  }
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  (void)::prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);  // the leak checker looks into its own process
#endif
  const std::string why = whyNotOnly(user);
  return why.empty() ? "" : "cannot become only the user \"" + configuration.user + "\": " + why;
}

}  // namespace HOQ::agent
