#pragma once

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <hoq/HOQUserCredentials.h>

#include "routine/HOQFileRoutine.h"
#include "routine/UserId.h"

namespace HOQ {

class ContentTypes;
class OpenDirHandle;

/// The contents of the Linux routine's owner handles.
struct Gids {
  std::uint32_t uid = HOQUserCredentials::kNone;
  std::uint32_t gid = HOQUserCredentials::kNone;
};

/// HOQFileRoutine over the Linux system calls.
class HOQFileRoutineLin : public HOQFileRoutine {
 public:
  explicit HOQFileRoutineLin(const std::string& initialPath);
  /// Does not close an open file.
  ~HOQFileRoutineLin() override;

  int convown(const char* user, const char* group, void*& owner) override;
  int convown(unsigned uid, unsigned gid, void*& owner) override;
  int getown(void*& owner) override;
  int convown(void* owner, std::string& user, std::string& group) override;
  int convown(void* owner, unsigned& uid, unsigned& gid) override;
  int chown(void* owner) override;
  int freeown(void* owner) override;
  int chmod(int mode) override;
  int link(const char* target, bool symbolic) override;
  int readlink(char* buf, unsigned long size) override;
  int remove() override;
  int rmdir() override;
  int rmitem() override;
  int mkdir(HOQFileRoutine* from) override;
  int copy(HOQFileRoutine& dst) override;
  int move(HOQFileRoutine& dst) override;
  int stat() override;
  int fill(HOQFileType& info, const char* name, bool keepName, unsigned mask) override;
  int open(int flags) override;
  int close() override;
  bool isOpened() override;
  long read(char* buf, int len) override;
  long write(const char* buf, int len) override;
  int seek(long long offset) override;
  int opendir(void*& handle) override;
  const char* namedir(void* handle) override;
  int readdir(void* handle) override;
  int closedir(void* handle) override;
  void setFilters(const std::vector<HOQFileFilter>* list) override;
  int getLastError(HOQRequestErrorData& err) override;
  /// 2.
  unsigned getType() override;

  /// Makes the whole process the given identity: umask, groups, then user. It is never undone, so
  /// only a process that serves this identity alone may call it. 0, or -1 at the first step that
  /// fails, with the steps before it done. setgroups(2), setgid(2), setuid(2).
  virtual int setCredentials(const HOQUserCredentials& credentials);

  /// Has fill() leave content types to `types` (not owned) instead of waiting for each: a record
  /// that it was given must stay where it is until ContentTypes::finish(). Null: it waits again.
  void deferContentTypes(ContentTypes* types) { contentTypes = types; }

  /// Looks names of entries of the directory that the path names up in it, as it is now, until
  /// letGo(); for one who is about to do much there. Where it cannot be held nothing changes.
  /// errno stays.
  void hold();
  void letGo();
  bool holds() const { return heldDirectory >= 0; }

  /// Has open() look at the owner of a file that it makes, so that chown() need not set what that
  /// has already; for one who sets the owners of many.
  void expectOwners() { expectsOwners = true; }

  /// Of the open file; -1: none. It stays this object's.
  int descriptor() const { return fd; }

  /// The ids of names; null: that one is left as it was. -1 when a name is unknown.
  int convownLin(const char* user, const char* group, Gids& ids);

 private:
  /// Names of ids met so far, in the tables; null: unknown.
  using IdNames = std::unordered_map<std::uint32_t, const std::string*>;

  /// How a call names the path to the system: relative to a directory that is open already, or to
  /// none (AT_FDCWD). Valid while path and directory stay.
  struct Place {
    int directory;
    const char* name;
  };

  /// The file that open() made last, until its owner is set, or it is removed.
  struct MadeFile {
    std::string path;  // empty: none
    Gids owner;
    mode_t mode = 0;
  };

  void noteMadeFile();
  bool isNewAndOf(const Gids& ids) const;
  bool takeKindInHand();
  int creationMode() const;
  void drainOutermost();
  Place place() const;

  bool loadTables();
  static const std::string* nameOf(std::uint32_t id, const std::set<UserId>& table, IdNames& met);
  int namesOf(const Gids& ids, std::string& user, std::string& group);

  void fillFromStat(HOQFileType& info, unsigned mask) const;
  int fillOwners(HOQFileType& info, unsigned mask);
  bool caughtByFilters(const char* name) const;
  bool caughtByOwnerFilters(const std::string& user, const std::string& group) const;

  int fd = -1;
  char ugFilterFlags = 0;  // FilterConvert's flags over the filters
  std::set<UserId> users;  // as they were at the first conversion of a name
  std::set<UserId> groups;
  bool tablesLoaded = false;
  IdNames userNames;
  IdNames groupNames;
  bool expectsOwners = false;
  MadeFile madeFile;
  int heldDirectory = -1;
  std::string heldPath;
  std::deque<OpenDirHandle*> openDirectories;  // with a descriptor, the outermost first; not owned
  ContentTypes* contentTypes = nullptr;        // where content types are left to; not owned
};

/// The system's users, or groups, as table rows. The first of a duplicated name stays. 0 or -1.
int read_pw(std::set<UserId>& users);
int read_gr(std::set<UserId>& groups);

}  // namespace HOQ
