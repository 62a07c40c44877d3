#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace HOQ::cli {

/// What can be learned of an item without opening it.
struct Attributes {
  std::uint32_t kind = 0;   // an HOQFileType::Kind
  std::uint64_t size = 0;   // bytes
  std::uint32_t mode = 0;   // permission bits
  std::int64_t mtime = 0;   // seconds since 1970
  std::uint64_t stamp = 0;  // another one after a change that the others may not show

  bool isFile() const;
  bool isDirectory() const;
  bool isLink() const;
};

struct SideEntry {
  std::string name;
  Attributes attributes;
};

/// A listing. What could not be read of it is told in `errors`.
struct Entries {
  std::vector<SideEntry> found;  // without "." and ".."
  std::vector<std::string> errors;
};

/// A piece of a file that is asked for.
struct ReadPiece {
  std::string path;
  std::uint64_t offset = 0;
  std::size_t wanted = 0;  // 1 .. Side::kPieceBytes
  char* buffer = nullptr;  // not owned; `wanted` bytes
  std::size_t got = 0;     // fewer than wanted: the file ends there
  std::string error;       // not empty: it could not be read
};

/// A piece of a file that is to be written. The pieces of a file come in order.
struct WritePiece {
  std::string path;
  std::uint64_t offset = 0;  // 0: the file is made
  const char* data = nullptr;
  std::size_t size = 0;    // up to Side::kPieceBytes
  std::uint32_t mode = 0;  // of a file that is made, less the umask
  bool replace = false;    // at offset 0: a file that is there is emptied, else refused
  bool last = false;       // of its file
  std::string error;       // not empty: it was not written whole
};

/// Ends one item's work: one line for standard error. What ends the whole command is a
/// CommandError instead.
class SideError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The same, of a whole directory: nothing can be put into it.
class DirectoryError : public SideError {
 public:
  using SideError::SideError;
};

/// One of the two places that contents go between: the client's own files, or a node's. Paths are
/// absolute and resolved. Calls throw SideError, or CommandError where nothing further will do.
/// One thread for each object; objects of the same place do not disturb each other.
class Side {
 public:
  static constexpr std::size_t kPieceBytes = 512 * 1024;

  virtual ~Side() = default;

  virtual Entries list(const std::string& directory) = 0;

  /// Of those `names` in the directory that are there. `follow`: of what links lead to.
  virtual std::map<std::string, Attributes> examine(const std::string& directory,
                                                    const std::vector<std::string>& names,
                                                    bool follow) = 0;

  /// Reads pieces, which may be of many files; tells failures in the pieces.
  virtual void read(std::vector<ReadPiece>& pieces) = 0;
  /// Writes pieces; tells failures in the pieces.
  virtual void write(std::vector<WritePiece>& pieces) = 0;

  /// Makes a directory that can be worked in. Returns the mode that it has got to have in the end
  /// where that is another one, else kModeIsRight.
  static constexpr std::int64_t kModeIsRight = -1;
  virtual std::int64_t makeDirectory(const std::string& path, std::uint32_t mode) = 0;
  /// Makes a directory and one in it, for the owner alone. False: something is there already.
  virtual bool makePrivate(const std::string& outer, const std::string& inner) = 0;

  /// Gives files and directories a mode.
  virtual void chmod(const std::vector<std::string>& paths, std::uint32_t mode) = 0;
  /// The mode that a file made with `mode` gets.
  virtual std::uint32_t reduced(std::uint32_t mode) const = 0;
  /// Whether times can be given, and giving one.
  virtual bool keepsTimes() const = 0;
  virtual void setTime(const std::string& path, std::int64_t mtime) = 0;

  /// Makes sure that what is in `directory` outlives a power failure, as far as the side can.
  /// `names`: the files in it, or nothing where it holds trees or many files.
  virtual void settle(const std::string& directory, const std::vector<std::string>& names) = 0;
  /// Moves items into a directory of the same file system, under their own names. A file is
  /// replaced only with `replace`.
  virtual void moveInto(const std::vector<std::string>& paths, const std::string& directory,
                        bool replace) = 0;
  /// Gives a directory another name beside it.
  virtual void renameDirectory(const std::string& from, const std::string& to) = 0;
  /// Removes an item, with `tree` also what is below it.
  virtual void remove(const std::string& path, bool tree) = 0;
};

/// The item of that path, through links with `follow`. False: there is none.
bool examineItem(Side& side, const std::string& path, bool follow, Attributes& found);

/// Whether a name that a listing gave can only be that of an entry of the directory.
bool isEntryName(const std::string& name);

/// Standard input or output, in place of a file's path.
inline constexpr const char kStream[] = "-";

}  // namespace HOQ::cli
