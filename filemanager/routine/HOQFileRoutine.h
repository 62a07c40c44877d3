#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include <hoq/HOQFileFilter.h>
#include <hoq/HOQFileType.h>
#include <hoq/HOQRequestErrorData.h>
#include <hoq/HOQSecurityAttributes.h>

namespace HOQ {

/// Access to one file system path at a time: the current path, what the last examination of it
/// said, and an open descriptor. Everything the plugin does to files goes through a routine.
///
/// Operations return 0, or -1 with errno as the system call left it; ask getLastError() for it at
/// once. Nothing throws but exhaustion of memory. A routine belongs to one request and one thread
/// at a time; the operations point it at one path after another by changing `path`.
///
/// The fields and the virtual operations stand in an order that hosts are compiled against.
class HOQFileRoutine {
 public:
  explicit HOQFileRoutine(const std::string& initialPath);
  HOQFileRoutine(const HOQFileRoutine&) = delete;
  HOQFileRoutine& operator=(const HOQFileRoutine&) = delete;
  virtual ~HOQFileRoutine();

  // Owners. A handle is an opaque pair of ids, released with freeown().

  /// Makes a handle from names; null: that part is left as it is. -1 and no handle when a name is
  /// unknown or the tables cannot be read.
  virtual int convown(const char* user, const char* group, void*& owner) = 0;
  /// Makes a handle from ids; 0xFFFFFFFF: that part is left as it is.
  virtual int convown(unsigned uid, unsigned gid, void*& owner) = 0;
  /// Makes a handle of the path's owner, which it examines with stat(), unless `isExamined`.
  virtual int getown(void*& owner) = 0;
  /// The names of a handle's ids. An unknown user: -1, and the group is not looked up.
  virtual int convown(void* owner, std::string& user, std::string& group) = 0;
  /// The ids of a handle.
  virtual int convown(void* owner, unsigned& uid, unsigned& gid) = 0;
  /// Gives the path the handle's owner, following links, and puts back set-id bits that the stat
  /// buffer knows of. chown(2).
  virtual int chown(void* owner) = 0;
  /// Releases a handle (null is allowed). 0.
  virtual int freeown(void* owner) = 0;

  // The path as an item.

  /// Sets the permission bits, following links. chmod(2).
  virtual int chmod(int mode) = 0;
  /// Makes the path a symbolic or hard link to `target`. symlink(2), link(2).
  virtual int link(const char* target, bool symbolic) = 0;
  /// Reads the link's text and ends it with NUL; the result counts the NUL. A null `buf` only
  /// measures; a `size` of 0 means 4096. -1: not a link, or failure. readlink(2).
  virtual int readlink(char* buf, unsigned long size) = 0;
  /// Removes a link. Here: remove().
  virtual int rmlink();
  /// Removes a file or an empty directory. remove(3).
  virtual int remove() = 0;
  /// Removes an empty directory. rmdir(2).
  virtual int rmdir() = 0;
  /// Removes anything but a directory. unlink(2).
  virtual int rmitem() = 0;
  /// Makes the directory and, with `from`, gives it that one's mode and owner. 2055: it is there
  /// already. Reads errno after success: set it to 0 before. mkdir(2).
  virtual int mkdir(HOQFileRoutine* from) = 0;
  /// Makes a special file like this one at `dst`'s path. 1: not a special file, copy its contents.
  virtual int copy(HOQFileRoutine& dst) = 0;
  /// Moves to `dst`'s path where that needs no copying. 1: copy, then remove. Both stat buffers
  /// must be current.
  virtual int move(HOQFileRoutine& dst) = 0;

  /// Examines the path: `statBuffer` is new after 0 and untouched after -1. Follows a link when
  /// `followLinks` is set. A directory's size is 0. stat(2), lstat(2). With `kindSuffices` it may
  /// make no system call, and say 0 of an item that is gone or out of reach.
  virtual int stat() = 0;
  /// Fills a record from the current stat buffer. `keepName`: `name` is kept whole and no name
  /// filter applies. `mask`: bits of HOQFileType::Field. 1: a filter caught the item, and the
  /// record is filled in part.
  virtual int fill(HOQFileType& info, const char* name, bool keepName, unsigned mask) = 0;

  // The path as an open file. The routine does not close it on destruction.

  /// Opens with open(2)'s flags. 1: it was there already (errno says EEXIST after success: set it
  /// to 0 before).
  virtual int open(int flags) = 0;
  /// Closes; the routine is closed even when the system reports a failure.
  virtual int close() = 0;
  virtual bool isOpened() = 0;
  /// Bytes read, 0 at the end, -1. read(2).
  virtual long read(char* buf, int len) = 0;
  /// Bytes written, or -1. write(2).
  virtual long write(const char* buf, int len) = 0;
  /// Sets the position from the start of the file.
  virtual int seek(long long offset) = 0;

  // The path as a directory.

  /// Opens the path for reading its entries; `handle` is untouched by a failure.
  virtual int opendir(void*& handle) = 0;
  /// The name of the entry that the last readdir() stepped to, valid until the next step.
  virtual const char* namedir(void* handle) = 0;
  /// Steps to the next entry: "." and ".." first, once each, then the others in the file system's
  /// order. -1: the end or a failure; callers take both for the end. readdir(3).
  virtual int readdir(void* handle) = 0;
  /// Releases the handle. 0.
  virtual int closedir(void* handle) = 0;

  /// Installs a list's filters (null: none). Not owned; must outlive their use by fill().
  virtual void setFilters(const std::vector<HOQFileFilter>* list);
  /// Puts code and text of the last failure, which is what errno says now, into `err`. Returns the
  /// code.
  virtual int getLastError(HOQRequestErrorData& err) = 0;
  /// The kind of routine; those of one kind exchange owner handles and rename between each other.
  virtual unsigned getType();

  // Helpers built on the operations.

  /// Appends the piece [begin, end) to `target` as a further component; `end` null: to its NUL. A
  /// null or empty piece appends nothing. In every case one trailing "/" is taken off.
  static void makePath(std::string& target, const char* begin, const char* end = nullptr);

  /// Translates a path from a request's notation to this routine's: here, the same.
  void convert(const std::string& from, std::string& to) { to = from; }

  /// The link's text. -1, with `target` as it was, for anything but a link.
  int readlinkS(std::string& target);

  /// Gives the path `from`'s mode, then its owner. `from` is examined.
  int cpOptions(HOQFileRoutine* from);

  /// Gives the path `from`'s owner: by ids between routines of one kind, else by names.
  int cpOwn(HOQFileRoutine* from);

  /// What the stat buffer describes. A routine that was never examined is none of these.
  bool isDir() const { return S_ISDIR(statBuffer.st_mode); }
  bool isLink() const { return S_ISLNK(statBuffer.st_mode); }
  bool isReg() const { return S_ISREG(statBuffer.st_mode); }

  const std::vector<HOQFileFilter>* filters = nullptr;  // not owned
  HOQSecurityAttributes* securityAttributes = nullptr;  // for new items; null: mode 0777; not owned
  bool followLinks = false;                             // whether stat() follows a link
  // Whether it is enough that stat() finds out what kind of item an entry of a directory is, which
  // the directory may have told with its name; and whether the last one found out no more, so that
  // all of `statBuffer` but the kind is 0. A directory is always examined.
  bool kindSuffices = false;
  bool kindOnly = false;
  bool isExamined = false;  // the path was examined just now: getown() need not do it again
  struct stat statBuffer;   // as the last successful stat() left it
  std::string path;         // the current path
};

}  // namespace HOQ
