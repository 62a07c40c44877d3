#include "control/Message.h"

#include <iterator>
#include <type_traits>
#include <utility>

#include "control/Wire.h"

namespace HOQ::agent {
namespace {

using Descriptor = MessageKind::Descriptor;

constexpr std::size_t kLongestAddress = 300;
constexpr std::size_t kLongestName = 1100;
constexpr std::size_t kEidDigits = 32;
constexpr std::size_t kLongestWord = 64;
constexpr std::size_t kLongestProblem = 1400;

// In the order of Message's alternatives: a message's first byte is its row.
const MessageKind kKinds[] = {
    {"welcome", Sender::Front, Descriptor::None},
    {"connection", Sender::Front, Descriptor::Always},
    {"drain", Sender::Front, Descriptor::None},
    {"dial answer", Sender::Front, Descriptor::Sometimes},
    {"ready", Sender::Worker, Descriptor::None},
    {"dial", Sender::Worker, Descriptor::None},
    {"audit", Sender::Worker, Descriptor::None},
    {"counters", Sender::Worker, Descriptor::None},
    {"log", Sender::Worker, Descriptor::None},
    {"start worker", Sender::Starter, Descriptor::None},
    {"kill worker", Sender::Starter, Descriptor::None},
    {"reread", Sender::Starter, Descriptor::None},
    {"worker started", Sender::Spawner, Descriptor::Always},
    {"worker failed", Sender::Spawner, Descriptor::None},
    {"worker ended", Sender::Spawner, Descriptor::None},
    {"reading", Sender::Spawner, Descriptor::Sometimes},
};
static_assert(std::size(kKinds) == std::variant_size_v<Message>);

// The fields of each message stand once, in one function for both directions: a Field either
// appends a value or takes it. A failed reader stays failed, so that rows of fields need no tests.

class Appending {
 public:
  void operator()(bool& value) { writer_.u8(value ? 1 : 0); }
  template <class Choice>
  requires std::is_enum_v<Choice>
  void operator()(Choice& value, Choice) { writer_.u8(static_cast<std::uint8_t>(value)); }
  void operator()(std::uint32_t& value) { writer_.u32(value); }
  void operator()(std::int32_t& value) { writer_.i32(value); }
  void operator()(std::uint64_t& value) { writer_.u64(value); }
  void operator()(std::string& value, std::size_t limit) { writer_.text(value, limit); }

  template <class Element, class Each>
  void list(std::vector<Element>& values, std::uint32_t limit, const Each& each) {
    if (values.size() > limit) values.resize(limit);
    writer_.u32(static_cast<std::uint32_t>(values.size()));
    for (Element& value : values) each(value);
  }

  WireWriter& writer() { return writer_; }

 private:
  WireWriter writer_;
};

class Taking {
 public:
  explicit Taking(std::string_view bytes) : reader_(bytes) {}

  void operator()(bool& value) {
    std::uint8_t taken = 0;
    if (reader_.upTo(1, taken) == Read::Ok) value = taken == 1;
  }
  template <class Choice>
  requires std::is_enum_v<Choice>
  void operator()(Choice& value, Choice last) {
    std::uint8_t taken = 0;
    if (reader_.upTo(static_cast<std::uint8_t>(last), taken) != Read::Ok) return;
    value = static_cast<Choice>(taken);
  }
  void operator()(std::uint32_t& value) { (void)reader_.u32(value); }
  void operator()(std::int32_t& value) { (void)reader_.i32(value); }
  void operator()(std::uint64_t& value) { (void)reader_.u64(value); }
  void operator()(std::string& value, std::size_t limit) { (void)reader_.text(limit, value); }

  template <class Element, class Each>
  void list(std::vector<Element>& values, std::uint32_t limit, const Each& each) {
    std::uint32_t count = 0;
    if (reader_.count(limit, count) != Read::Ok) return;
    for (std::uint32_t i = 0; i < count && reader_.state() == Read::Ok; ++i) {
      Element value{};
      each(value);
      if (reader_.state() == Read::Ok) values.push_back(std::move(value));
    }
  }

  const char* complaint() const {
    switch (reader_.state()) {
      case Read::Missing:
        return "is cut short";
      case Read::WrongValue:
        return "has a value that none has";
      case Read::TooLong:
        return "has a value that is too long";
      case Read::Ok:
        break;
    }
    return reader_.atEnd() ? nullptr : "goes on after its end";
  }

 private:
  WireReader reader_;
};

template <class Field>
void fields(Field& field, Welcome& m) {
  field(m.version);
  field(m.client, kLongestName);
  field(m.mayRead);
  field(m.mayChange);
  field(m.nodeEid, kEidDigits);
  field(m.pluginsFolder, kLongestPath);
  field(m.requests);
  field(m.idleSeconds);
  field(m.messageBytes);
  field(m.engine, kLongestWord);
}

template <class Field>
void fields(Field&, Connection&) {}

template <class Field>
void fields(Field& field, Drain& m) {
  field(m.seconds);
}

template <class Field>
void fields(Field& field, DialAnswer& m) {
  field(m.request);
  field(m.outcome, DialOutcome::Refused);
  field(m.text, kLongestText);
}

template <class Field>
void fields(Field&, Ready&) {}

template <class Field>
void fields(Field& field, Dial& m) {
  field(m.request);
  field(m.address, kLongestAddress);
}

template <class Field>
void fields(Field& field, Audit& m) {
  field(m.operation, kLongestWord);
  field(m.askedBy, kLongestName);
  field(m.cwd, kLongestPath);
  field.list(m.paths, kMostAuditPaths, [&](std::string& path) { field(path, kLongestPath); });
  field(m.pathCount);
  field(m.destination, kLongestPath);
  field(m.code);
  field(m.trouble, kLongestText);
  field(m.bytes);
  field(m.tookMicroseconds);
  field(m.address, kLongestAddress);
}

template <class Field>
void fields(Field& field, Counters& m) {
  field.list(m.calls, kMostCallKinds, [&](Counters::CallKind& kind) {
    field(kind.operation, kLongestWord);
    field(kind.code);
    field(kind.count);
  });
  field(m.busy);
  field(m.bytesIn);
  field(m.bytesOut);
  field(m.active);
  field(m.waiting);
  field(m.streams);
}

template <class Field>
void fields(Field& field, Log& m) {
  field(m.level, LogLevel::Error);
  field(m.text, kLongestText);
}

template <class Field>
void fields(Field& field, StartWorker& m) {
  field(m.id);
  field(m.generation);
  field(m.entry, kLongestName);
}

template <class Field>
void fields(Field& field, KillWorker& m) {
  field(m.id);
}

template <class Field>
void fields(Field& field, Reread& m) {
  field(m.generation);
}

template <class Field>
void fields(Field& field, WorkerStarted& m) {
  field(m.id);
  field(m.pid);
  field(m.trouble, kLongestText);
}

template <class Field>
void fields(Field& field, WorkerFailed& m) {
  field(m.id);
  field(m.text, kLongestText);
}

template <class Field>
void fields(Field& field, WorkerEnded& m) {
  field(m.id);
  field(m.how, kLongestWord);
}

template <class Field>
void fields(Field& field, Reading& m) {
  field(m.generation);
  field.list(m.problems, kMostProblems,
             [&](std::string& problem) { field(problem, kLongestProblem); });
}

template <std::size_t... I>
Message alternative(std::size_t index, std::index_sequence<I...>) {
  Message message;
  ((index == I ? static_cast<void>(message.emplace<I>()) : static_cast<void>(0)), ...);
  return message;
}

Decoded refuse(std::string error) { return {Message(), std::move(error)}; }

}  // namespace

const MessageKind& kindOf(const Message& message) { return kKinds[message.index()]; }

std::string encode(const Message& message) {
  Message copy = message;  // the fields' functions take what they may change
  Appending field;
  field.writer().u8(static_cast<std::uint8_t>(copy.index()));
  std::visit([&](auto& alternative) { fields(field, alternative); }, copy);
  return field.writer().take();
}

Decoded decode(std::string_view bytes, Sender sender) {
  if (bytes.empty()) return refuse("a message of no bytes");
  if (bytes.size() > kLongestMessage) return refuse("a message that is too long");
  const auto type = static_cast<unsigned char>(bytes.front());
  if (type >= std::size(kKinds)) return refuse("no such message: " + std::to_string(type));
  const std::string name = kKinds[type].name;
  if (kKinds[type].sender != sender) return refuse("\"" + name + "\" is not its to send");
  Decoded result{alternative(type, std::make_index_sequence<std::size(kKinds)>()), ""};
  Taking field(bytes.substr(1));
  std::visit([&](auto& message) { fields(field, message); }, result.message);
  const char* complaint = field.complaint();
  return complaint ? refuse("\"" + name + "\" " + complaint) : result;
}

}  // namespace HOQ::agent
