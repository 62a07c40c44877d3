#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <string>
#include <vector>

#include <hoq/HOQComplexRequestHandler.h>
#include <hoq/HOQDelegate1.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQFileFilter.h>
#include <hoq/HOQFileType.h>
#include <hoq/HOQFilerBase.h>
#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQSecurityAttributes.h>
#include <hoq/HOQUserCredentials.h>

namespace HOQ {

struct HOQConnectionInfo;
class HOQFileDownloadInfo;
class HOQFileUploadInfo;

/// The file manager of one node, as its clients call it.
///
/// Relative paths start at `cwd`. Operations return 0 or a code: -1 a failure told in an error
/// record, 414 access refused, 424 not provided, 2002 no access to the working directory or a
/// path, 2055 a target exists, 2056 the walk stopped at a path that failed. Error and progress
/// records go to the request's handler (HOQRequestModificator::sync). Nothing throws but
/// exhaustion of memory. One request at a time for each object; objects are independent.
class HOQ_EXPORT HOQFiler : public HOQFilerBase {
 public:
  using Paths = std::vector<std::string>;
  using FileTypes = std::vector<boost::shared_ptr<HOQFileType>>;
  using Filters = std::vector<HOQFileFilter>;
  using UploadList = std::vector<boost::shared_ptr<HOQFileUploadInfo>>;
  using DownloadList = std::vector<boost::shared_ptr<HOQFileDownloadInfo>>;
  using HandlerDelegate = HOQDelegate1<int, boost::intrusive_ptr<HOQComplexRequestHandler>>;

  HOQFiler();
  ~HOQFiler() override;

  /// The entries of directories, in `result` (not null; records are appended). For each path two
  /// placeholder records "." and ".." come first. `filters` null: no filtering; not owned, read
  /// during the call. `fields`: bits of HOQFileType::Field.
  virtual int list(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
                   const Filters* filters, unsigned int fields) = 0;

  /// Removes files, links (as links) and directories; trees with the recursive bit.
  virtual int remove(const Paths& paths, const HOQFilerOptions& options) = 0;

  /// Copies to another node. `attributes` null: each item keeps its source's mode.
  virtual int copy(const Paths& paths, const HOQConnectionInfo& node,
                   const std::string& destination, const HOQFilerOptions& options,
                   const HOQSecurityAttributes* attributes) = 0;

  /// Copies on this node.
  virtual int copy(const Paths& paths, const std::string& destination,
                   const HOQFilerOptions& options) = 0;

  virtual int move(const Paths& paths, const std::string& destination,
                   const HOQFilerOptions& options) = 0;

  /// Writes pieces of files that came with the request. The delegate and the control handler may
  /// be empty or null.
  virtual int upload(const UploadList& items, const HOQFilerOptions& options,
                     const HOQSecurityAttributes& attributes, const HandlerDelegate& delegate,
                     boost::intrusive_ptr<FileOperationControlHandler>* control) = 0;

  /// Reads pieces of files into the items.
  virtual int download(const DownloadList& items, const HOQFilerOptions& options,
                       const HOQSecurityAttributes& attributes, const HandlerDelegate& delegate,
                       boost::intrusive_ptr<FileOperationControlHandler>* control) = 0;

  virtual int chmod(const Paths& paths, int mode, const HOQFilerOptions& options) = 0;

  /// By names; an empty group stays as it is.
  virtual int chown(const Paths& paths, const std::string& user, const std::string& group,
                    const HOQFilerOptions& options) = 0;

  /// By ids; 0xFFFFFFFF leaves that part as it is.
  virtual int chown(const Paths& paths, unsigned int uid, unsigned int gid,
                    const HOQFilerOptions& options) = 0;

  /// Makes `name` a hard link to `target`, or a symbolic one with that bit.
  virtual int link(const std::string& target, const std::string& name,
                   const HOQFilerOptions& options) = 0;

  /// The named items, in `result` (not null). One that is not there gives no record and no error.
  virtual int stat(const Paths& paths, FileTypes* result, const HOQFilerOptions& options,
                   unsigned int fields) = 0;

  /// The text of a symbolic link, in `target`, which is untouched by a failure.
  virtual int readlink(const std::string& path, std::string& target) = 0;

  /// Not provided by the local Filer (424).
  virtual int search(const Paths& paths, const std::string& pattern, FileTypes* result,
                     long long limit, const HOQFilerOptions& options) = 0;

  /// Makes directories; with the recursive bit their parents as well.
  virtual int mkdir(const Paths& paths, const HOQSecurityAttributes* attributes,
                    const HOQFilerOptions& options) = 0;

  void setCwd(const std::string& directory) { cwd = directory; }
  void setCred(const HOQUserCredentials& credentials) { cred = credentials; }
  const HOQUserCredentials& getCred() const { return cred; }
  HOQFiler* getThis() { return this; }

 protected:
  std::string cwd;          // empty: the process's own
  HOQUserCredentials cred;  // of the request; fresh: no user, no group
};

}  // namespace HOQ
