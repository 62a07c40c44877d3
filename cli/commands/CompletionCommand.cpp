#include "commands/CompletionCommand.h"

#include "Completion.h"
#include "GlobalOptions.h"

namespace HOQ::cli {

std::string CompletionCommand::notes() const {
  return "The text goes where the shell looks for it, or is read by the shell as it starts:\n"
         "  bash   source <(hoq completion bash)       in ~/.bashrc\n"
         "  zsh    hoq completion zsh > DIR/_hoq       with DIR in fpath\n"
         "  fish   hoq completion fish | source        in ~/.config/fish/config.fish\n"
         "\nExamples:\n"
         "  $ hoq completion bash\n"
         "  $ hoq completion zsh\n";
}

ExitStatus CompletionCommand::run(Session& session, const std::vector<std::string>& arguments) {
  Globals unused;
  const std::string text = arguments.size() == 1 ? completionText(arguments.front(), makeCommands(),
                                                                  globalOptions(unused))
                                                 : "";
  if (text.empty()) throw CommandError(kExitUsage, "completion takes one of bash, zsh and fish");
  session.output().append(text);
  return kExitDone;
}

}  // namespace HOQ::cli
