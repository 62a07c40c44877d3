#include "commands/StatCommand.h"

#include <fmt/format.h>

#include <iterator>

#include <hoq/HOQFilerOptions.h>

#include "PathText.h"
#include "commands/Lookup.h"
#include "listing/JsonLines.h"
#include "output/FieldText.h"
#include "output/Utf8.h"

namespace HOQ::cli {
namespace {

void writeLine(Output& out, std::string_view label, const std::string& text) {
  fmt::format_to(std::back_inserter(out.buffer()), "{:>8}: {}\n", label,
                 out.isTerminal() ? escapeForTerminal(text) : text);
}

void writeInformation(Output& out, const HOQFileType& record) {
  const auto mode = modeText(record);
  TimeText times;
  writeLine(out, "Name", record.name);
  writeLine(out, "Type", kindText(record.type));
  if (record.type == HOQFileType::kLink) writeLine(out, "Target", record.linkTarget);
  writeLine(out, "Size", fmt::format("{} bytes", record.size));
  writeLine(
      out, "Mode",
      fmt::format("{:04o} ({})", record.permissions, std::string_view(mode.data(), mode.size())));
  writeLine(out, "User", fmt::format("{} ({})", ownerText(record.user, record.uid), record.uid));
  writeLine(out, "Group", fmt::format("{} ({})", ownerText(record.group, record.gid), record.gid));
  writeLine(out, "Links", std::to_string(record.nlink));
  writeLine(out, "Modified", fmt::format("{} (@{})", times.of(record.mtime), record.mtime));
  if ((record.valid & HOQFileType::kContentType) != 0)
    writeLine(out, "Content", record.contentType);
}

}  // namespace

std::string StatCommand::notes() const {
  return "A link is shown as a link, unless -L is given or its name ends in \"/\". The content "
         "type\n"
         "of files comes from file(1), which is run for each of them.\n"
         "\nExamples:\n"
         "  $ hoq stat notes.txt\n"
         "  $ hoq stat --content-type notes.txt src\n"
         "  $ hoq stat --json /\n";
}

std::vector<Option> StatCommand::options() {
  return {
      {"-L,--dereference", nullptr, "show what links lead to", &followLinks_},
      {"-t,--content-type", nullptr, "find out the content type of files", &contentType_},
  };
}

ExitStatus StatCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.empty()) throw CommandError(kExitUsage, "stat needs a PATH (see hoq stat --help)");
  constexpr unsigned kAllFields = 0x7FF;  // but the content type, which costs a process
  Lookup lookup(session, followLinks_ ? HOQFilerOptions::kFollowLinks : 0,
                kAllFields | (contentType_ ? HOQFileType::kContentType : 0U));
  Output& out = session.output();
  ExitStatus status = kExitDone;
  bool first = true;
  for (const std::string& typed : arguments) {
    const RecordPtr record = lookup.require(typed, resolve(session.directory(), typed));
    if (lookup.refused()) return kExitRefused;
    if (!record) {
      status = kExitFailed;
      continue;
    }
    record->name = typed;
    if (session.settings().json) {
      writeJsonLine(out, typed, *record);
      continue;
    }
    if (!first) out.append("\n");
    first = false;
    writeInformation(out, *record);
    out.checkpoint();
  }
  return status;
}

}  // namespace HOQ::cli
