#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace HOQ::agent {

/// What passes between the front and a worker, and between the front and the spawner, over sockets
/// that keep messages apart. Each is a byte of its type and its fields.
///
/// The front takes nothing that a worker says on trust, nor does the spawner what the front says:
/// what is decoded is bounded here, and whatever does not decode ends the sender.

/// Raised with every change to the messages: programs of two builds do not serve together.
constexpr std::uint32_t kControlVersion = 3;

constexpr std::size_t kLongestMessage = 96 * 1024;
constexpr std::size_t kLongestText = 4096;
constexpr std::size_t kLongestPath = 4096;
constexpr std::uint32_t kMostAuditPaths = 16;
constexpr std::uint32_t kMostCallKinds = 256;
constexpr std::uint32_t kMostProblems = 64;

/// The first message to a worker.
struct Welcome {
  std::uint32_t version = kControlVersion;
  std::string client;  // as logs and audit call it
  bool mayRead = false;
  bool mayChange = false;
  std::string nodeEid;        // 32 hexadecimal digits
  std::string pluginsFolder;  // empty: where programs look by themselves
  std::uint32_t requests = 0;
  std::uint32_t idleSeconds = 0;
  std::uint32_t messageBytes = 0;
  std::string engine;  // how contents are carried, as HOQContentsEngine calls it

  bool operator==(const Welcome&) const = default;
};

/// Comes with the descriptor of a connection to serve.
struct Connection {
  bool operator==(const Connection&) const = default;
};

/// Take no new calls, and end when those under way have ended, but after this time at the latest.
struct Drain {
  std::uint32_t seconds = 0;

  bool operator==(const Drain&) const = default;
};

enum class DialOutcome : std::uint8_t { Connected, Unreachable, Untrusted, Refused };

/// Answers a Dial; comes with a descriptor when connected.
struct DialAnswer {
  std::uint32_t request = 0;
  DialOutcome outcome = DialOutcome::Unreachable;
  std::string text;  // why not

  bool operator==(const DialAnswer&) const = default;
};

/// The worker has loaded its plugins.
struct Ready {
  bool operator==(const Ready&) const = default;
};

/// Asks for a connection to another node.
struct Dial {
  std::uint32_t request = 0;  // the worker's number for it
  std::string address;

  bool operator==(const Dial&) const = default;
};

/// One changing request that ended, or was refused.
struct Audit {
  std::string operation;
  std::string askedBy;  // for whom the client asked; empty: for itself
  std::string cwd;
  std::vector<std::string> paths;  // the first of them
  std::uint32_t pathCount = 0;     // how many there were
  std::string destination;         // may be empty
  std::int32_t code = 0;
  std::string trouble;  // why it broke off; may be empty
  std::uint64_t bytes = 0;
  std::uint64_t tookMicroseconds = 0;
  std::string address;  // where the client's connection came from; may be empty

  bool operator==(const Audit&) const = default;
};

/// What a worker has done since its start.
struct Counters {
  struct CallKind {
    std::string operation;
    std::int32_t code = 0;
    std::uint64_t count = 0;

    bool operator==(const CallKind&) const = default;
  };

  std::vector<CallKind> calls;  // that ended
  std::uint64_t busy = 0;       // calls not begun, since too many were under way
  std::uint64_t bytesIn = 0;    // contents
  std::uint64_t bytesOut = 0;
  std::uint32_t active = 0;   // operations and transfers that run now
  std::uint32_t waiting = 0;  // calls that wait for their turn
  std::uint32_t streams = 0;  // open transfer streams

  bool operator==(const Counters&) const = default;
};

enum class LogLevel : std::uint8_t { Debug, Info, Warning, Error };

/// A line for the front's log.
struct Log {
  LogLevel level = LogLevel::Info;
  std::string text;

  bool operator==(const Log&) const = default;
};

/// Asks the spawner for a worker that serves the entry of this name, as the configuration of this
/// generation has it. Nothing else about the worker is the front's to say.
struct StartWorker {
  std::uint64_t id = 0;  // the front's number for it, never used before
  std::uint32_t generation = 0;
  std::string entry;  // empty: for the clients that no entry names

  bool operator==(const StartWorker&) const = default;
};

/// Asks for the end of a worker at once. One that has ended is none to kill.
struct KillWorker {
  std::uint64_t id = 0;

  bool operator==(const KillWorker&) const = default;
};

/// Asks the spawner to read the configuration again.
struct Reread {
  std::uint32_t generation = 0;  // that is in force so far

  bool operator==(const Reread&) const = default;
};

/// Comes with the front's end of the worker's control socket.
struct WorkerStarted {
  std::uint64_t id = 0;
  std::int32_t pid = 0;
  std::string trouble;  // why it has no rights, whatever its entry says; empty: it has them

  bool operator==(const WorkerStarted&) const = default;
};

struct WorkerFailed {
  std::uint64_t id = 0;
  std::string text;

  bool operator==(const WorkerFailed&) const = default;
};

/// A worker that was started is there no more.
struct WorkerEnded {
  std::uint64_t id = 0;
  std::string how;  // "exit status 1", "signal 9"

  bool operator==(const WorkerEnded&) const = default;
};

/// Answers a Reread; comes with a descriptor of the text that was read, unless there are problems.
/// The workers started from now on may be of this generation or of the one they were of so far.
struct Reading {
  std::uint32_t generation = 0;
  std::vector<std::string> problems;

  bool operator==(const Reading&) const = default;
};

using Message = std::variant<Welcome, Connection, Drain, DialAnswer, Ready, Dial, Audit, Counters,
                             Log, StartWorker, KillWorker, Reread, WorkerStarted, WorkerFailed,
                             WorkerEnded, Reading>;

/// Who may send a message: the front to a worker, a worker, the front to the spawner (as the
/// starter of workers), the spawner.
enum class Sender { Front, Worker, Starter, Spawner };

struct MessageKind {
  const char* name;
  Sender sender;
  enum class Descriptor { None, Always, Sometimes } descriptor;
};

/// Of the message's alternative in Message.
const MessageKind& kindOf(const Message& message);

/// Texts that are longer than their limits are cut, so that the result always decodes.
std::string encode(const Message& message);

struct Decoded {
  Message message;
  std::string error;  // empty: `message` holds what was sent
};

/// Takes a message that `sender` is said to have sent. Never throws but for want of memory, and
/// takes no more of that than the bytes that arrived.
Decoded decode(std::string_view bytes, Sender sender);

}  // namespace HOQ::agent
