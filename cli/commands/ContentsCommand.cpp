#include "commands/ContentsCommand.h"

#include "contents/ContentsTransfer.h"

namespace HOQ::cli {

std::vector<Option> ContentsCommand::options() {
  std::vector<Option> options = {
      {"-R,-r,--recursive", nullptr, "directories with everything below them", &options_.recursive},
      {"-f,--force", nullptr, "replace files that are there", &options_.force},
      {"-L,--dereference", nullptr, "in directories, take what links lead to",
       &options_.followLinks},
      {"-p,--preserve", nullptr,
       options_.put ? "give exactly the permissions of the source"
                    : "give exactly the permissions of the source, and its times",
       &options_.keep},
      {"--resume", nullptr, "go on with what an earlier run has left, once it is proven",
       &options_.resume},
      {"--verify", nullptr, "compare contents in the end, before anything is put in place",
       &options_.verify},
      {"--in-place", nullptr, "write at once under the final names", &options_.inPlace},
      {"--no-count", nullptr, "do not count what there is before it is carried", &options_.noCount},
  };
  if (!options_.put)
    options.push_back(
        {"-w,--wildcards", nullptr, "REMOTEs are patterns of *, ? and [ ]", &options_.wildcards});
  return options;
}

ExitStatus ContentsCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() < 2)
    throw CommandError(kExitUsage,
                       std::string(name()) + " needs a " +
                           (options_.put ? "LOCAL and a REMOTE" : "REMOTE and a LOCAL") +
                           " (see hoq " + name() + " --help)");
  return ContentsTransfer(session, options_).run(arguments);
}

}  // namespace HOQ::cli
