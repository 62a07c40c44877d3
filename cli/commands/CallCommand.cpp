#include "commands/CallCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>

#include <hoq/HOQErrorMessage.h>

#include "call/Events.h"
#include "call/Operations.h"
#include "output/Base64.h"
#include "output/JsonText.h"

namespace HOQ::cli {
namespace {

struct RightsRow {
  const char* name;
  Rights rights;
};

constexpr RightsRow kRights[] = {
    {"both", {true, true}},
    {"read", {true, false}},
    {"change", {false, true}},
    {"none", {false, false}},
};

Rights parseRights(const std::string& name) {
  if (name.empty()) return Rights();
  for (const RightsRow& row : kRights)
    if (name == row.name) return row.rights;
  throw CommandError(kExitUsage, "--rights takes both, read, change or none, not \"" + name + "\"");
}

std::string readStandardInput() {
  std::string text;
  char piece[64 * 1024];
  for (;;) {
    const ssize_t got = ::read(STDIN_FILENO, piece, sizeof piece);
    if (got == 0) return text;
    if (got > 0) {
      text.append(piece, static_cast<std::size_t>(got));
      continue;
    }
    const int error = errno;
    if (error != EINTR)
      throw CommandError(kExitUsage,
                         std::string("cannot read standard input: ") + std::strerror(error));
  }
}

const Operation& chosenOperation(const std::vector<std::string>& arguments) {
  std::string names;
  for (const Operation& row : operations())
    names += (names.empty() ? "" : ", ") + std::string(row.name);
  if (arguments.size() != 1) throw CommandError(kExitUsage, "call takes one operation: " + names);
  const Operation* operation = findOperation(arguments.front());
  if (operation == nullptr)
    throw CommandError(kExitUsage,
                       "unknown operation \"" + arguments.front() + "\"; there are " + names);
  return *operation;
}

void appendItems(Output& out, const Answer& answer) {
  out.append(",\"items\":[");
  for (const auto& item : answer.items) {
    if (&item != &answer.items.front()) out.append(",");
    fmt::format_to(std::back_inserter(out.buffer()),
                   "{{\"data\":\"{}\",\"size\":{},\"offset\":{}}}", toBase64(item->contents),
                   item->size, item->offset);
    out.checkpoint();
  }
  out.append("]");
}

void writeAnswer(Output& out, const Operation& operation, const Answer& answer, const News& news) {
  fmt::format_to(std::back_inserter(out.buffer()), "{{\"code\":{},\"events\":[", answer.code);
  for (const News::Event& event : news.events) {
    if (&event != &news.events.front()) out.append(",");
    std::visit([&out](const auto& record) { appendEvent(out, record); }, event);
    out.checkpoint();
  }
  out.append("]");
  if (!getErrorMessage().empty()) {
    out.append(",\"errorText\":");
    appendJson(out.buffer(), getErrorMessage());
  }
  if (operation.answersRecords) {
    out.append(news.answered ? ",\"answered\":true,\"records\":"
                             : ",\"answered\":false,\"records\":");
    appendJsonRecords(out, answer.records);
  }
  if (operation.answersTarget) {
    out.append(",\"target\":");
    appendJson(out.buffer(), answer.target);
  }
  if (operation.answersItems) appendItems(out, answer);
  out.append("}\n");
}

}  // namespace

std::string CallCommand::notes() const {
  return describeOperations() +
         "\nStrings that are not valid UTF-8 are {\"base64\": \"...\"} in both directions.\n"
         "Exit status: 0 when \"code\" is 0, 4 when it is 414 (access refused), else 1; 2 for a\n"
         "request that is not understood.\n"
         "\nExamples:\n"
         "  $ echo '{\"cwd\": \".\", \"paths\": [\"src\"], \"fields\": 1}' | hoq call list\n"
         "  $ echo '{\"cwd\": \".\", \"paths\": [\"notes.txt\"], \"fields\": 2047}' | hoq call "
         "stat\n"
         "  $ echo '{\"cwd\": \".\", \"paths\": [\"new/deep\"], \"options\": 2}' | hoq call mkdir\n"
         "  $ echo '{\"cwd\": \".\", \"paths\": [\"new\"], \"options\": 2}' | hoq call remove\n"
         "  $ echo '{\"cwd\": \".\", \"items\": [{\"path\": \"notes.txt\"}]}' | hoq call "
         "download\n";
}

std::string CallCommand::choices() const {
  std::string names;
  for (const Operation& row : operations())
    names += (names.empty() ? "" : " ") + std::string(row.name);
  return names;
}

std::vector<Option> CallCommand::options() {
  return {{"--rights", "WHICH",
           "what the caller may do: both, read, change or none (this node only)", &rights_,
           "both read change none"}};
}

ExitStatus CallCommand::run(Session& session, const std::vector<std::string>& arguments) {
  const Operation& operation = chosenOperation(arguments);
  const Rights rights = parseRights(rights_);
  const Request request = readRequest(readStandardInput(), operation.allKeys());
  if (operation.check != nullptr) operation.check(request);
  if (session.isRemote() && !rights_.empty())
    throw CommandError(kExitUsage, "--rights is for this node; another one knows what we may do");
  session.node(rights);
  const auto filer = session.filer(request.text("cwd"));
  if (const auto* credentials = request.credentials("credentials")) filer->setCred(*credentials);
  clearErrorMessage();
  Answer answer;
  operation.run(*filer, request, answer);
  session.console().stopProgress();
  writeAnswer(session.output(), operation, answer, session.news());
  return statusOf(answer.code);
}

}  // namespace HOQ::cli
