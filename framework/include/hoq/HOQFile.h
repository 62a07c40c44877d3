#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <hoq/HOQExport.h>
#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQSecurityAttributes.h>

namespace HOQ {

/// A regular file that is open for writing. It closes itself, on exec(3) too. One thread at a time.
class HOQ_EXPORT HOQFile {
 public:
  HOQFile() = default;
  HOQFile(const HOQFile&) = delete;
  HOQFile& operator=(const HOQFile&) = delete;
  ~HOQFile();

  /// Opens `path` to write at `offset`; a missing file is made with the attributes' mode (null:
  /// 0777) less the umask. At 0 or below a file that is there is emptied with the overwrite bit and
  /// refused without it. Above, it is never cut; where it is shorter it gets a hole.
  ///
  /// 0; or -1 with errno, and this object is closed: EEXIST: refused; ELOOP: the last component is
  /// a link, and the follow bit is not set; EISDIR: a directory; ENXIO: a FIFO, device or socket,
  /// which is not waited for; else what the system said. What this object had open is closed first.
  int openWrite(const std::string& path, std::int64_t offset, const HOQFilerOptions& options,
                const HOQSecurityAttributes* attributes);

  /// Bytes written, which may be fewer, or -1 with errno. write(2).
  long write(const char* bytes, std::size_t count);

  /// 0, or -1 with errno: something written may be lost. Closed in either case; one that is not
  /// open stays so: 0.
  int close();

  bool isOpened() const { return fd_ >= 0; }

 private:
  /// Closes after a failure and keeps its errno. -1.
  int fail(int cause);

  int fd_ = -1;
};

}  // namespace HOQ
