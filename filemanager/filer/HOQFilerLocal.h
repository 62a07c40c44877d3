#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>
#include <utility>
#include <vector>

#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQFiler.h>
#include <hoq/HOQRequestModificatorLocal.h>
#include <hoq/HOQResultCodes.h>

#include "engine/operatePaths.h"
#include "routine/HOQFileRoutine.h"

namespace HOQ {

/// The Filer of the node that this process runs on. Each operation is defined beside the class
/// that does its work, in operations/ and updownload/.
///
/// The first base and the order of the virtual operations are what hosts are compiled against.
class HOQFilerLocal : public HOQRequestModificatorLocal<HOQFiler>, public virtual HOQFiler {
 public:
  explicit HOQFilerLocal(HOQAccessProviderPtr access);
  ~HOQFilerLocal() override;

  int list(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
           const Filters* filters, unsigned int fields) override;
  int remove(const Paths& paths, const HOQFilerOptions& options) override;
  int copy(const Paths& paths, const HOQConnectionInfo& node, const std::string& destination,
           const HOQFilerOptions& options, const HOQSecurityAttributes* attributes) override;
  int copy(const Paths& paths, const std::string& destination,
           const HOQFilerOptions& options) override;
  int move(const Paths& paths, const std::string& destination,
           const HOQFilerOptions& options) override;
  int upload(const UploadList& items, const HOQFilerOptions& options,
             const HOQSecurityAttributes& attributes, const HandlerDelegate& delegate,
             boost::intrusive_ptr<FileOperationControlHandler>* control) override;
  int download(const DownloadList& items, const HOQFilerOptions& options,
               const HOQSecurityAttributes& attributes, const HandlerDelegate& delegate,
               boost::intrusive_ptr<FileOperationControlHandler>* control) override;
  int chmod(const Paths& paths, int mode, const HOQFilerOptions& options) override;
  int chown(const Paths& paths, const std::string& user, const std::string& group,
            const HOQFilerOptions& options) override;
  int chown(const Paths& paths, unsigned int uid, unsigned int gid,
            const HOQFilerOptions& options) override;
  int link(const std::string& target, const std::string& name,
           const HOQFilerOptions& options) override;
  int stat(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
           unsigned int fields) override;
  int readlink(const std::string& path, std::string& target) override;
  int search(const Paths& paths, const std::string& pattern, FileTypes* result, long long limit,
             const HOQFilerOptions& options) override;
  int mkdir(const Paths& paths, const HOQSecurityAttributes* attributes,
            const HOQFilerOptions& options) override;

  /// A fresh routine for `directory`; empty when none can be made. Never shared.
  virtual boost::shared_ptr<HOQFileRoutine> createRoutine(const std::string& directory);

 private:
  /// Whether the thread's client lacks the right `level`.
  static bool refused(int level);

  /// The common shape of the operations that change what their paths lead to: asks for the right,
  /// makes a routine, and runs an `Operation` over the paths. Extra arguments of the operation's
  /// constructor come last.
  template <class Operation, class... Arguments>
  int change(const Paths& paths, const HOQFilerOptions& options, Arguments&&... arguments);

  template <class FindOwner>
  int changeOwner(const Paths& paths, const HOQFilerOptions& options, const FindOwner& findOwner);
  int copyOrMove(const Paths& paths, const std::string& destination,
                 const HOQFilerOptions& options, bool moveItems);
  int giveToRequester(const Paths& paths, const HOQFilerOptions& options);
};

template <class Operation, class... Arguments>
int HOQFilerLocal::change(const Paths& paths, const HOQFilerOptions& options,
                          Arguments&&... arguments) {
  if (refused(HOQAccessChecker::kChange)) return kAccessRefused;
  const boost::shared_ptr<HOQFileRoutine> routine = createRoutine(cwd);
  if (!routine) return kNoRoutine;
  Operation operation(*routine, options, std::forward<Arguments>(arguments)...);
  operation.error.handler = getContext()->getHandler();
  return operatePaths(operation, paths, cwd);
}

}  // namespace HOQ
