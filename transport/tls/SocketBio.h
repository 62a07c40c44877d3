#pragma once

#include "tls/OpenSslHandles.h"

namespace HOQ::tls {

class TlsStream;

/// How OpenSSL reaches the socket of a TlsStream: without signals, noting what the socket said.
struct SocketBio {
  /// Null: out of memory. `stream` is not owned and outlives it.
  static BIO* make(TlsStream* stream);

 private:
  static int read(BIO* bio, char* bytes, std::size_t count, std::size_t* got);
  static int write(BIO* bio, const char* bytes, std::size_t count, std::size_t* taken);
  static long control(BIO* bio, int command, long number, void* pointer);
  static const BIO_METHOD* method();
};

}  // namespace HOQ::tls
