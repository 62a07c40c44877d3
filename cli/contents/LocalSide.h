#pragma once

#include <string>
#include <utility>
#include <vector>

#include "contents/Interruption.h"
#include "contents/Side.h"
#include "contents/WriteBehind.h"

namespace HOQ::cli {

/// The client's own files, and as kStream its standard streams. All that the command line does to
/// files of its own is done here.
class LocalSide : public Side {
 public:
  /// `interruption` is not owned. `followLinks`: in listings links stand for what they lead to.
  LocalSide(const Interruption& interruption, bool followLinks);
  ~LocalSide() override;

  Entries list(const std::string& directory) override;
  std::map<std::string, Attributes> examine(const std::string& directory,
                                            const std::vector<std::string>& names,
                                            bool follow) override;
  void read(std::vector<ReadPiece>& pieces) override;
  void write(std::vector<WritePiece>& pieces) override;
  std::int64_t makeDirectory(const std::string& path, std::uint32_t mode) override;
  bool makePrivate(const std::string& outer, const std::string& inner) override;
  void chmod(const std::vector<std::string>& paths, std::uint32_t mode) override;
  std::uint32_t reduced(std::uint32_t mode) const override { return mode & ~umask_; }
  bool keepsTimes() const override { return true; }
  void setTime(const std::string& path, std::int64_t mtime) override;
  void settle(const std::string& directory, const std::vector<std::string>& names) override;
  void moveInto(const std::vector<std::string>& paths, const std::string& directory,
                bool replace) override;
  void renameDirectory(const std::string& from, const std::string& to) override;
  void remove(const std::string& path, bool tree) override;

  /// `typed` as an absolute path; a relative one starts at the process's directory.
  static std::string resolved(const std::string& typed);
  /// A directory's path without links. Throws SideError.
  static std::string realPath(const std::string& directory);
  /// Whether both are there and are the same item.
  static bool same(const std::string& one, const std::string& other);
  /// Whether `directory`, or one that it lies in, is the same item as `tree`.
  static bool isWithin(const std::string& directory, const std::string& tree);

 private:
  /// A file that is open as long as its pieces come.
  struct Open {
    std::string path;
    int descriptor = -1;
  };

  void readPiece(ReadPiece& piece);
  void writePiece(WritePiece& piece);
  static void release(Open& file);
  void releaseWriting();

  const Interruption& interruption_;
  const bool followLinks_;
  const std::uint32_t umask_;
  Open reading_;
  Open writing_;
  WriteBehind behind_;  // of writing_
};

}  // namespace HOQ::cli
