#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "front/Front.h"
#include "front/Logging.h"
#include "front/ServiceManager.h"
#include "front/Setup.h"
#include "front/SignalSource.h"
#include "front/SpawnStarter.h"

namespace {

using namespace HOQ::agent;

constexpr int kFailed = 1;
constexpr int kUsage = 2;

int complain(const std::vector<std::string>& problems) {
  for (const std::string& problem : problems) std::fprintf(stderr, "%s\n", problem.c_str());
  return kUsage;
}

/// A connection takes up to three descriptors, and limits of old leave room for few.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  (void)::setrlimit(RLIMIT_NOFILE, &limit);  // then the old one must do
}

int serve(const std::string& file) {
  const std::string worker = SpawnStarter::findProgram();
  if (worker.empty()) {
    std::fprintf(stderr, "hoqd: hoq-worker is neither beside this program nor in libexec\n");
    return kFailed;
  }
  SettingsOutcome outcome = loadSettings(file);
  if (!outcome.problems.empty()) return complain(outcome.problems);
  SignalSource::block();
  setUpLogging();
  raiseDescriptorLimit();
  SpawnStarter starter(worker);
  Front front(file, starter, ServiceManager::fromEnvironment());
  const std::vector<std::string> problems = front.start(outcome.settings);
  if (!problems.empty()) {
    (void)complain(problems);
    return kFailed;
  }
  front.run();
  return 0;
}

int run(int argc, char** argv) {
  CLI::App app("Serves this node's files to the clients that its configuration names.", "hoqd");
  std::string file = "/etc/hoq/hoqd.toml";
  bool check = false;
  app.add_option("--config", file, "The configuration")->capture_default_str();
  app.add_flag("--check-config", check, "Say whether the configuration is good, and end");
  app.set_version_flag("--version", "hoqd " HOQ_PROGRAM_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsage;
  }
  if (!check) return serve(file);
  const SettingsOutcome outcome = checkSettings(file);
  if (!outcome.problems.empty()) return complain(outcome.problems);
  std::printf("%s: good\n", file.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "hoqd: %s\n", error.what());
    return kFailed;
  }
}
