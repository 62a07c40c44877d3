#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tls/HeldBytes.h"
#include "tls/PlainEnd.h"
#include "tls/PumpCounters.h"
#include "tls/TlsPump.h"
#include "tls/TlsStream.h"

namespace HOQ::tls {

/// What connections use of the thread that they belong to. Not owned.
struct PumpBench {
  const TlsPump::Options& options;
  PumpCounters& counters;
  /// Where bytes stand on their way. Nothing is left in it between two calls of work().
  std::vector<unsigned char> scratch;
};

/// One connection from its handshake to its end, on one thread.
///
/// Bytes go through the thread's scratch; only what the other side of them does not take is kept
/// here, and nothing more is read of that direction until it is taken.
class PumpConnection {
 public:
  using Clock = std::chrono::steady_clock;

  struct Start {
    ConnectionId id = 0;
    UniqueFd socket;
    TlsContextPtr context;
    TlsStream::Side side = TlsStream::Side::kServer;
    TlsPump::ConnectOptions options;
    TlsPump::Ready ready;
    TlsPump::Closed closed;
  };

  PumpConnection(Start start, PumpBench& bench, Clock::time_point deadline);
  ~PumpConnection();
  PumpConnection(const PumpConnection&) = delete;
  PumpConnection& operator=(const PumpConnection&) = delete;

  int socket() const { return stream_.socket(); }
  int plain() const { return plain_.fd(); }  ///< negative until it is handed over
  ConnectionId id() const { return id_; }

  /// What epoll(7) said of the two descriptors.
  void noteSocket(std::uint32_t events);
  void notePlain(std::uint32_t events);

  /// Does what can be done now, but no more than one turn's share. True: its share is used up, and
  /// it wants another turn. May call Ready and Closed.
  bool work();

  /// When expire() is due. The latest time that there is: never.
  Clock::time_point deadline() const { return deadline_; }
  void expire();

  /// Breaks it off at once.
  void breakOff(const std::string& reason);

  bool isEnded() const { return stage_ == Stage::kEnded; }

 private:
  enum class Stage { kHandshaking, kAwaiting, kOpen, kEnded };

  bool shake();
  bool awaitFirst();
  void handOver();
  bool carry();
  bool carryIn();
  bool carryOut();
  bool receive();
  bool discard();
  bool take();
  std::size_t send(const unsigned char* bytes, std::size_t count);
  void spend(std::size_t bytes);
  void linger();
  void endIfDone();
  void fail(const Error& error);
  void end(const Error& error);

  const ConnectionId id_;
  PumpBench& bench_;
  TlsPump::Ready ready_;
  TlsPump::Closed closed_;
  const bool awaitsFirst_;
  TlsStream stream_;
  PlainEnd plain_;
  Stage stage_ = Stage::kHandshaking;
  Clock::time_point deadline_;
  std::size_t share_ = 0;

  HeldBytes heldIn_;   // decrypted, and not taken by the plain end yet
  HeldBytes heldOut_;  // from the plain end, and not taken by the stream yet
  // How the last call on the stream went.
  TlsStream::Step inStep_ = TlsStream::Step::kDone;
  TlsStream::Step outStep_ = TlsStream::Step::kDone;
  bool inEnd_ = false;    // the other side's close_notify came
  bool inDone_ = false;   // ... and the plain end knows
  bool outEnd_ = false;   // the plain end has no more
  bool outDone_ = false;  // ... and our close_notify is sent
};

}  // namespace HOQ::tls
