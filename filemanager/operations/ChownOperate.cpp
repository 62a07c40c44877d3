#include "operations/ChownOperate.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include "filer/HOQFilerLocal.h"

namespace HOQ {
namespace {

constexpr unsigned kNoGroup = HOQUserCredentials::kNone;

std::string asText(const char* name) { return name ? name : ""; }
std::string asText(unsigned id) { return std::to_string(id); }

/// `format` with its first %s replaced by `first` and a second one by `second`; at most 1023 bytes.
std::string formatted(const char* format, const std::string& first, const std::string& second) {
  char text[1024];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
  std::snprintf(text, sizeof text, format, first.c_str(), second.c_str());
#pragma GCC diagnostic pop
  return text;
}

}  // namespace

ChownOperate::ChownOperate(HOQFileRoutine& routine, const HOQFilerOptions& requestOptions)
    : FileOperate(routine, requestOptions, true) {}

ChownOperate::~ChownOperate() { path.routine->freeown(owner); }

template <class User, class Group>
int ChownOperate::set(User user, Group group, const char* format) {
  const int result = path.routine->convown(user, group, owner);
  if (result == 0) return 0;
  const int cause = errno;
  const std::string text = formatted(format, asText(user), asText(group));
  errno = cause;
  return setPathLastError(result, text.c_str());
}

template int ChownOperate::set(const char* user, const char* group, const char* format);
template int ChownOperate::set(unsigned uid, unsigned gid, const char* format);

int ChownOperate::operate(const char* name) {
  const int changed = path.routine->chown(owner);
  if (changed != 0) return setPathLastError(changed, "Cannot change owner");
  return FileOperate::operate(name);
}

/// `findOwner` resolves the owner of the operation that it is handed; 0, or the request's result.
template <class FindOwner>
int HOQFilerLocal::changeOwner(const Paths& paths, const HOQFilerOptions& options,
                               const FindOwner& findOwner) {
  if (refused(HOQAccessChecker::kChange)) return kAccessRefused;
  const boost::shared_ptr<HOQFileRoutine> routine = createRoutine(cwd);
  if (!routine) return kNoRoutine;
  ChownOperate operation(*routine, options);
  operation.error.handler = getContext()->getHandler();
  const int found = findOwner(operation);
  return found == 0 ? operatePaths(operation, paths, cwd) : found;
}

int HOQFilerLocal::chown(const Paths& paths, const std::string& user, const std::string& group,
                         const HOQFilerOptions& options) {
  return changeOwner(paths, options, [&](ChownOperate& operation) {
    return group.empty()
               ? operation.set(user.c_str(), static_cast<const char*>(nullptr),
                               "Cannot find user %s")
               : operation.set(user.c_str(), group.c_str(), "Cannot find user %s or group %s");
  });
}

int HOQFilerLocal::chown(const Paths& paths, unsigned int uid, unsigned int gid,
                         const HOQFilerOptions& options) {
  return changeOwner(paths, options, [&](ChownOperate& operation) {
    return operation.set(uid, gid,
                         gid == kNoGroup ? "Cannot find uid %s" : "Cannot find uid %s or gid %s");
  });
}

}  // namespace HOQ
