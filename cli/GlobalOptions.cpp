#include "GlobalOptions.h"

namespace HOQ::cli {

std::vector<Option> globalOptions(Globals& globals) {
  static constexpr char kWhen[] = "auto always never";
  Settings& settings = globals.settings;
  return {
      {"-C", "DIR", "where relative paths start, instead of the current directory",
       &settings.directory},
      {"--node", "ADDRESS", "the node to work on: host:port or unix:/path (or HOQ_NODE)",
       &settings.node},
      {"--ca", "FILE", "what a node's certificate must come from (or HOQ_CA)",
       &settings.files.authorities},
      {"--cert", "FILE", "the certificate shown to a node (or HOQ_CERT)",
       &settings.files.certificate},
      {"--key", "FILE", "the certificate's key (or HOQ_KEY)", &settings.files.key},
      {"--json", nullptr, "print JSON, one object on each line", &settings.json},
      {"-q,--quiet", nullptr, "neither progress nor summaries; errors are still told",
       &settings.quiet},
      {"-v,--verbose", nullptr, "end with a line that says what was done", &settings.verbose},
      {"--progress", "WHEN", "auto (on a terminal, when the work lasts), always or never",
       &globals.progress, kWhen},
      {"--color", "WHEN", "auto (on a terminal), always or never", &globals.color, kWhen},
      {"--plugin", "FILE", "the file-manager plugin to load (or HOQ_PLUGIN)", &settings.plugin},
      {"--engine", "NAME", "how cp and mv carry contents on this node: kernel or blocks",
       &globals.engine, "blocks kernel"},
      {"--version", nullptr, "print the version", &globals.version},
      {"--help", nullptr, "print help; after a command, that command's", &globals.help},
  };
}

}  // namespace HOQ::cli
