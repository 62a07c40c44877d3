#pragma once

#include <sys/types.h>

#include <cstddef>

#include "tls/UniqueFd.h"

namespace HOQ::tls {

/// The pump's end of the socket pair whose other end its taker has. Watched for edges, as TlsStream
/// is. One thread at a time.
class PlainEnd {
 public:
  /// Makes the pair. False: errno; no descriptor left, usually.
  bool open(UniqueFd& other);

  int fd() const { return fd_.get(); }

  void wake(bool toRead, bool toWrite) {
    readable_ = readable_ || toRead;
    writable_ = writable_ || toWrite;
  }
  /// The other end is closed: nobody reads any more. What it wrote before can still be read.
  void noteGone() { gone_ = true; }

  bool isReadable() const { return readable_; }
  bool isWritable() const { return writable_ && !gone_; }
  bool isGone() const { return gone_; }

  enum class Read { kBytes, kNothing, kEnd, kAbandoned };
  /// kNothing: not before the next wake(). kAbandoned: closed with bytes that it had not read.
  Read read(unsigned char* bytes, std::size_t count, std::size_t* got);

  /// How many bytes were taken; fewer where the other end has to read first or is gone.
  std::size_t write(const unsigned char* bytes, std::size_t count);

  /// The other end reads to the end of data.
  void finish();

 private:
  UniqueFd fd_;
  bool readable_ = true;
  bool writable_ = true;
  bool gone_ = false;
};

}  // namespace HOQ::tls
