#include "CommandLine.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <new>

#include <hoq/HOQVersion.h>

#include "GlobalOptions.h"
#include "Help.h"
#include "Suggestion.h"
#include "commands/Command.h"

namespace HOQ::cli {
namespace {

struct Binder {
  CLI::App& app;
  const Option& option;

  void operator()(bool* target) const { app.add_flag(option.names, *target, option.help); }
  void operator()(std::string* target) const {
    app.add_option(option.names, *target, option.help)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  }
  void operator()(std::vector<std::string>* target) const {
    app.add_option(option.names, *target, option.help)->allow_extra_args(false)->take_all();
  }
};

void addOptions(CLI::App& app, const std::vector<Option>& options) {
  for (const Option& option : options) std::visit(Binder{app, option}, option.target);
}

When parseWhen(const char* option, const std::string& text) {
  if (text.empty() || text == "auto") return When::kAuto;
  if (text == "always") return When::kAlways;
  if (text == "never") return When::kNever;
  throw CommandError(kExitUsage,
                     std::string(option) + " takes auto, always or never, not \"" + text + "\"");
}

HOQContentsEngine::Kind parseEngine(const std::string& text) {
  if (const auto engine = HOQContentsEngine::named(text)) return *engine;
  throw CommandError(kExitUsage, "--engine takes blocks or kernel, not \"" + text + "\"");
}

Settings settle(Globals& globals) {
  Settings settings = globals.settings;
  const auto fromEnvironment = [](std::string& value, const char* name) {
    const char* text = std::getenv(name);
    if (value.empty() && text != nullptr) value = text;
  };
  fromEnvironment(settings.node, "HOQ_NODE");
  fromEnvironment(settings.plugin, "HOQ_PLUGIN");
  fromEnvironment(settings.files.authorities, "HOQ_CA");
  fromEnvironment(settings.files.certificate, "HOQ_CERT");
  fromEnvironment(settings.files.key, "HOQ_KEY");
  settings.progress = parseWhen("--progress", globals.progress);
  settings.color = parseWhen("--color", globals.color);
  if (!globals.engine.empty()) settings.engine = parseEngine(globals.engine);
  return settings;
}

/// The arguments taken apart. What stands behind the first "--" is never an option.
class ParsedLine {
 public:
  explicit ParsedLine(const std::vector<std::string>& words) : commands_(makeCommands()) {
    const auto end = std::find(words.begin(), words.end(), "--");
    bindAll();
    try {
      app_.parse(std::vector<std::string>(std::make_reverse_iterator(end),
                                          std::make_reverse_iterator(words.begin())));
    } catch (const CLI::ParseError& error) {
      throw CommandError(kExitUsage, std::string(error.what()) + helpHint());
    }
    arguments = app_.remaining(true);
    plain_ = arguments.size();
    if (end != words.end()) arguments.insert(arguments.end(), end + 1, words.end());
  }

  Command* command() const {
    const auto chosen = app_.get_subcommands();
    if (chosen.empty()) return nullptr;
    for (const auto& command : commands_)
      if (chosen.front()->get_name() == command->name()) return command.get();
    return nullptr;
  }

  /// Throws where a word is neither an option nor a command.
  void check() const {
    for (std::size_t i = 0; i < plain_; ++i)
      if (arguments[i].size() > 1 && arguments[i].front() == '-') failOption(arguments[i]);
    if (command() != nullptr) return;
    if (arguments.empty()) throw CommandError(kExitUsage, "no command given" + helpHint());
    std::vector<std::string> names;
    for (const auto& command : commands_) names.push_back(command->name());
    throw CommandError(kExitUsage, "unknown command \"" + arguments.front() + "\"" +
                                       suggestion(arguments.front(), names) + helpHint());
  }

  std::string help() {
    Command* chosen = command();
    return chosen != nullptr ? commandHelp(*chosen)
                             : programHelp(commands_, globalOptions(globals));
  }

  Globals globals;
  std::vector<std::string> arguments;

 private:
  void bindAll() {
    app_.set_help_flag();
    app_.allow_extras();
    app_.require_subcommand(0, 1);
    addOptions(app_, globalOptions(globals));
    for (const auto& command : commands_) {
      CLI::App* sub = app_.add_subcommand(command->name());
      sub->set_help_flag();
      sub->fallthrough()->allow_extras();
      addOptions(*sub, command->options());
    }
  }

  [[noreturn]] void failOption(const std::string& word) const {
    Globals unused;
    std::vector<std::string> names = namesOf(globalOptions(unused));
    if (command() != nullptr)
      for (std::string& name : namesOf(command()->options())) names.push_back(std::move(name));
    throw CommandError(kExitUsage, "unknown option " + word + suggestion(word, names) + helpHint());
  }

  std::string helpHint() const {
    const Command* chosen = command();
    return std::string(" (see hoq ") +
           (chosen != nullptr ? chosen->name() + std::string(" ") : "") + "--help)";
  }

  std::vector<std::unique_ptr<Command>> commands_;
  CLI::App app_{"", "hoq"};
  std::size_t plain_ = 0;  // how many of `arguments` stood before "--"
};

ExitStatus printText(const std::string& text) {
  Output output(STDOUT_FILENO);
  output.append(text);
  output.flush();
  return kExitDone;
}

ExitStatus runCommand(ParsedLine& line) {
  Session session(settle(line.globals));
  const ExitStatus status = line.command()->run(session, line.arguments);
  session.finish();
  return session.lostNode() ? kExitNoNode : status;
}

ExitStatus runLine(const std::vector<std::string>& words) {
  ParsedLine line(words);
  if (line.globals.version)
    return printText(std::string("hoq ") + HOQ_PROGRAM_VERSION + " (framework " +
                     frameworkVersion() + ")\n");
  if (line.globals.help && (line.command() != nullptr || line.arguments.empty()))
    return printText(line.help());
  line.check();
  return runCommand(line);
}

}  // namespace

int runCommandLine(const std::vector<std::string>& arguments) {
  Console console(STDERR_FILENO, When::kNever);
  try {
    return runLine(arguments);
  } catch (const CommandError& error) {
    console.error(error.what());
    return error.status;
  } catch (const std::bad_alloc&) {
    console.error("out of memory");
    return kExitFailed;
  }
}

}  // namespace HOQ::cli
