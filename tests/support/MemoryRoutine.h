#pragma once

#include <memory>
#include <string>
#include <vector>

#include "routine/HOQFileRoutine.h"
#include "support/MemoryFs.h"

namespace HOQ::test {

/// The in-memory twin of the Linux routine: a kind of its own, the same contract.
class MemoryRoutine : public HOQFileRoutine {
 public:
  static constexpr unsigned kKind = 3;

  /// `system` is not owned and must outlive this object.
  MemoryRoutine(MemoryFs& system, const std::string& initialPath)
      : HOQFileRoutine(initialPath), fs_(system) {}

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
  bool isOpened() override { return file_ != nullptr; }
  long read(char* buf, int len) override;
  long write(const char* buf, int len) override;
  int seek(long long offset) override;
  int opendir(void*& handle) override;
  const char* namedir(void* handle) override;
  int readdir(void* handle) override;
  int closedir(void* handle) override;
  int getLastError(HOQRequestErrorData& err) override;
  unsigned getType() override { return kKind; }

 private:
  int creationMode() const;
  bool caught(const char* name) const;
  bool caughtByOwner(const std::string& user, const std::string& group) const;
  bool anyOwnerPattern(bool ofUser) const;

  MemoryFs& fs_;
  MemoryFs::NodePtr file_;  // open
  int openFlags_ = 0;
  std::size_t position_ = 0;
};

}  // namespace HOQ::test
