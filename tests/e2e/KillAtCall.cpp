// A library to preload: it kills the program right before its n-th call that changes files, so that
// a test can end it at every moment that makes a difference, without a clock.
//
//   HOQ_KILL_AT=N     kills (SIGKILL) before call N, 1 being the first; absent: never
//   HOQ_COUNT_TO=FILE writes the number of such calls there when the program ends by itself

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<long> calls{0};
long killAt = -1;

void count() {
  if (calls.fetch_add(1) + 1 == killAt) ::kill(::getpid(), SIGKILL);
}

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

__attribute__((constructor)) void begin() {
  const char* at = std::getenv("HOQ_KILL_AT");
  if (at != nullptr) killAt = std::atol(at);
}

__attribute__((destructor)) void end() {
  const char* file = std::getenv("HOQ_COUNT_TO");
  if (file == nullptr) return;
  FILE* const stream = ::fopen(file, "w");
  if (stream == nullptr) return;
  ::fprintf(stream, "%ld", calls.load());
  ::fclose(stream);
}

using Open = int (*)(const char*, int, ...);

int openCounted(const char* name, const char* path, int flags, mode_t mode) {
  if ((flags & O_CREAT) != 0) count();
  return next<Open>(name)(path, flags, mode);
}

}  // namespace

// What the C library declares for these may differ in attributes, never in arguments.
#define HOQ_COUNTED(result, name, parameters, arguments)                     \
  extern "C" __attribute__((visibility("default"))) result name parameters { \
    count();                                                                 \
    return next<result(*) parameters>(#name) arguments;                      \
  }

HOQ_COUNTED(int, mkdir, (const char* path, mode_t mode), (path, mode))
HOQ_COUNTED(ssize_t, write, (int fd, const void* data, size_t size), (fd, data, size))
HOQ_COUNTED(ssize_t, pwrite, (int fd, const void* data, size_t size, off_t offset),
            (fd, data, size, offset))
HOQ_COUNTED(ssize_t, pwrite64, (int fd, const void* data, size_t size, off64_t offset),
            (fd, data, size, offset))
HOQ_COUNTED(int, rename, (const char* from, const char* to), (from, to))
HOQ_COUNTED(int, renameat2,
            (int fromIn, const char* from, int toIn, const char* to, unsigned flags),
            (fromIn, from, toIn, to, flags))
HOQ_COUNTED(int, unlink, (const char* path), (path))
HOQ_COUNTED(int, rmdir, (const char* path), (path))
HOQ_COUNTED(int, remove, (const char* path), (path))
HOQ_COUNTED(int, chmod, (const char* path, mode_t mode), (path, mode))
HOQ_COUNTED(int, ftruncate, (int fd, off_t size), (fd, size))
HOQ_COUNTED(int, ftruncate64, (int fd, off64_t size), (fd, size))
HOQ_COUNTED(int, fsync, (int fd), (fd))
HOQ_COUNTED(int, syncfs, (int fd), (fd))

extern "C" __attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return openCounted("open", path, flags, mode);
}

extern "C" __attribute__((visibility("default"))) int open64(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return openCounted("open64", path, flags, mode);
}
