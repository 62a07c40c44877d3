#pragma once

#include <string>

namespace HOQ::test {

/// A directory of its own for one test, under the system's place for temporary files. It is
/// removed with everything in it at the end: whatever its names, depth and modes.
class TempDir {
 public:
  /// kMemory: on the file system in memory where there is one, for trees of very many items.
  enum Place { kUsual, kMemory };

  explicit TempDir(Place place = kUsual);
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  /// Absolute, canonical, without a trailing "/".
  const std::string& path() const { return path_; }

  /// The path of an item in it.
  std::string operator/(const std::string& relative) const { return path_ + "/" + relative; }

 private:
  std::string path_;
};

/// Empties `directory`, whatever is in it. Throws std::runtime_error where the system refuses.
void removeContents(const std::string& directory);

}  // namespace HOQ::test
