#include "Completion.h"

#include <fmt/format.h>

#include <iterator>

namespace HOQ::cli {
namespace {

using Commands = std::vector<std::unique_ptr<Command>>;
using Options = std::vector<Option>;

template <class... Values>
void add(std::string& out, fmt::format_string<Values...> format, Values&&... values) {
  fmt::format_to(std::back_inserter(out), format, std::forward<Values>(values)...);
}

std::string joined(const std::vector<std::string>& words, const std::string& between) {
  return fmt::format("{}", fmt::join(words, between));
}

/// In single quotes; `quote` stands for one within.
std::string quoted(const std::string& text, const char* quote) {
  std::string result = "'";
  for (const char each : text) result += each == '\'' ? quote : std::string(1, each);
  return result + "'";
}

// The three: options that take a value, a command's own words, and paths for the rest.

std::vector<std::string> namesWithValue(const Options& options) {
  Options chosen;
  for (const Option& option : options)
    if (option.valueName != nullptr) chosen.push_back(option);
  return namesOf(chosen);
}

/// Cases for what stands behind an option that takes a value: words, or a path. `command` is the
/// pattern of the commands that the options belong to.
void addBashValues(std::string& out, const std::string& command, const Options& options) {
  const std::string before = "  " + command + ":";
  for (const Option& option : options)
    if (*option.choices != '\0')
      add(out, "{}{}) COMPREPLY=($(compgen -W '{}' -- \"$word\")); return ;;\n", before,
          joined(namesOf({option}), "|" + command + ":"), option.choices);
  const std::vector<std::string> others = namesWithValue(options);
  if (!others.empty()) add(out, "{}{}) return ;;\n", before, joined(others, "|" + command + ":"));
}

std::string commandNames(const Commands& commands) {
  std::vector<std::string> names;
  for (const auto& command : commands) names.push_back(command->name());
  return joined(names, " ");
}

std::string bashText(const Commands& commands, const Options& globals) {
  std::string out =
      "# Completion of hoq for bash.\n_hoq() {\n  COMPREPLY=()\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} command='' words='' own='' at\n"
      "  for ((at = 1; at < COMP_CWORD; at++)); do\n    case ${COMP_WORDS[at]} in\n";
  add(out, "    {}) ((at++)) ;;\n", joined(namesWithValue(globals), "|"));
  out += "    -*) ;;\n    *) command=${COMP_WORDS[at]}; break ;;\n    esac\n  done\n";
  out += "  case $command:${COMP_WORDS[COMP_CWORD - 1]} in\n";
  addBashValues(out, "*", globals);
  for (const auto& command : commands) addBashValues(out, command->name(), command->options());
  out += "  esac\n  case $command in\n";
  add(out, "    '') words='{}' ;;\n", commandNames(commands));
  for (const auto& command : commands) {
    add(out, "    {}) words='{}'", command->name(), joined(namesOf(command->options()), " "));
    if (!command->choices().empty()) add(out, " own='{}'", command->choices());
    out += " ;;\n";
  }
  add(out, R"(  esac
  if [[ -z $command || $word == -* ]]; then
    words+=' {}'
  elif ((COMP_CWORD == at + 1)); then
    words=$own
  else
    words=''
  fi
  # Without an answer bash completes paths.
  COMPREPLY=($(compgen -W "$words" -- "$word"))
}}
complete -o bashdefault -o default -F _hoq hoq
)",
      joined(namesOf(globals), " "));
  return out;
}

/// An entry for _arguments for each name of an option; the names of one exclude one another.
void addZshOptions(std::string& out, const Options& options, const char* indent) {
  for (const Option& option : options) {
    const std::vector<std::string> names = namesOf({option});
    std::string help;
    for (const char* each = option.help; *each != '\0'; ++each)
      help += *each == '[' || *each == ']' || *each == ':' ? std::string("\\") + *each
                                                           : std::string(1, *each);
    std::string value;
    if (option.valueName != nullptr)
      value = *option.choices != '\0' ? fmt::format(":{}:({})", option.valueName, option.choices)
                                      : fmt::format(":{}:_files", option.valueName);
    for (const std::string& name : names)
      add(out, "{}{} \\\n", indent,
          quoted(fmt::format("({}){}[{}]{}", joined(names, " "), name, help, value), "'\\''"));
  }
}

std::string zshText(const Commands& commands, const Options& globals) {
  std::string out =
      "#compdef hoq\n# Completion of hoq for zsh.\n_hoq() {\n"
      "  local state line curcontext=$curcontext\n  typeset -A opt_args\n  _arguments -C \\\n";
  addZshOptions(out, globals, "    ");
  out +=
      "    '1:command:->command' '*::argument:->argument' && return\n"
      "  if [[ $state == command ]]; then\n    local -a commands=(\n";
  for (const auto& command : commands)
    add(out, "      {}\n", quoted(fmt::format("{}:{}", command->name(), command->help()), "'\\''"));
  out += "    )\n    _describe command commands\n    return\n  fi\n  case $line[1] in\n";
  for (const auto& command : commands) {
    add(out, "    {})\n      _arguments -s \\\n", command->name());
    addZshOptions(out, command->options(), "        ");
    if (!command->choices().empty()) add(out, "        '1:word:({})' \\\n", command->choices());
    out += "        '*:path:_files' ;;\n";
  }
  out +=
      "  esac\n}\nif [[ $zsh_eval_context[-1] == loadautofunc ]]; then\n  _hoq \"$@\"\nelse\n"
      "  compdef _hoq hoq\nfi\n";
  return out;
}

void addFishOptions(std::string& out, const Options& options, const std::string& condition) {
  for (const Option& option : options) {
    out += "complete -c hoq";
    if (!condition.empty()) add(out, " -n {}", quoted(condition, "\\'"));
    for (const std::string& name : namesOf({option})) {
      const bool isLong = name.compare(0, 2, "--") == 0;
      add(out, " {} {}", isLong ? "-l" : "-s", name.substr(isLong ? 2 : 1));
    }
    if (option.valueName != nullptr) out += " -r";
    if (*option.choices != '\0') add(out, " -f -a '{}'", option.choices);
    add(out, " -d {}\n", quoted(option.help, "\\'"));
  }
}

std::string fishText(const Commands& commands, const Options& globals) {
  std::string out;
  add(out, R"fish(# Completion of hoq for fish.
function __hoq_command -d 'The command that was typed'
    set -l isValue 0
    for word in (commandline -opc)[2..]
        if test $isValue = 1
            set isValue 0
            continue
        end
        switch $word
            case {}
                set isValue 1
            case '-*'
            case '*'
                echo $word
                return
        end
    end
end
function __hoq_in -d 'Whether it is this one; none: no command'
    test "$argv" = "$(__hoq_command)"
end
)fish",
      joined(namesWithValue(globals), " "));
  addFishOptions(out, globals, "");
  for (const auto& command : commands) {
    const std::string within = std::string("__hoq_in ") + command->name();
    add(out, "complete -c hoq -n __hoq_in -f -a {} -d {}\n", command->name(),
        quoted(command->help(), "\\'"));
    addFishOptions(out, command->options(), within);
    if (!command->choices().empty())
      add(out, "complete -c hoq -n '{}; and not __fish_seen_subcommand_from {}' -f -a '{}'\n",
          within, command->choices(), command->choices());
  }
  return out;
}

}  // namespace

std::string completionText(const std::string& shell, const Commands& commands,
                           const Options& globalOptions) {
  if (shell == "bash") return bashText(commands, globalOptions);
  if (shell == "zsh") return zshText(commands, globalOptions);
  if (shell == "fish") return fishText(commands, globalOptions);
  return "";
}

}  // namespace HOQ::cli
