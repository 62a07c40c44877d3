#pragma once

#include <string>

#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQRequestHandlerPrototype.h>

namespace HOQ {

/// Formats a request's failures and sends each at once to its handler, and resolves paths against
/// the request's working directory. One thread.
class FileError {
 public:
  /// `requestOptions` is not owned and must outlive this object.
  explicit FileError(const HOQFilerOptions& requestOptions) : options(requestOptions) {}

  /// Takes the working directory, canonical and with a "/" at its end. -1, reported, and an empty
  /// one when it climbs above the root.
  int setCwd(const std::string& directory);

  /// `path` made absolute in `full`, canonical unless paths are patterns; an empty one stays
  /// empty. -1, reported, when it climbs above the root.
  int getFullPath(const std::string& path, std::string& full);

  /// Reports a failure; messages are cut at 1023 bytes. Without a handler the message becomes the
  /// thread's error text, and is read as a format once more (kept: callers double their percent
  /// signs for it). Returns `code`.
  int setError(int code, const char* format, ...) __attribute__((format(printf, 3, 4)));

  HOQRequestHandlerPtr handler;    // may be empty
  std::string cwd;                 // empty, or canonical and ending in "/"
  const HOQFilerOptions& options;  // not owned
  int lastError = 0;               // code of the last failure reported
};

}  // namespace HOQ
