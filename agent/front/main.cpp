#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "config/ConfigurationFile.h"
#include "front/Front.h"
#include "front/Logging.h"
#include "front/Privileges.h"
#include "front/ServiceManager.h"
#include "front/Setup.h"
#include "front/SignalSource.h"
#include "spawner/SpawnerProcess.h"
#include "spawner/SystemCallFilter.h"

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

int fail(const std::string& why) {
  std::fprintf(stderr, "hoqd: %s\n", why.c_str());
  return kFailed;
}

/// From here on this process is nobody in particular, and meets strangers. `early` is what root
/// has opened for it. Returns a status where it cannot go on.
std::optional<int> giveUpRights(const Configuration& configuration, Listeners::Opened& early) {
  if (!configuration.user.empty()) {
    std::vector<std::string> problems;
    early = openAsRoot(configuration, problems);
    if (const std::string why = makeStateFolder(configuration); !why.empty()) {
      problems.push_back(configuration.complaint("state", why));
    }
    if (!problems.empty()) {
      (void)complain(problems);
      return kFailed;
    }
    if (const std::string why = dropRoot(configuration); !why.empty()) return fail(why);
  }
  if (const std::string why = giveUp(SystemCalls::OfFront); !why.empty()) return fail(why);
  return std::nullopt;
}

int serve(const std::string& file) {
  const std::string worker = findWorkerProgram();
  if (worker.empty()) return fail("hoq-worker is neither beside this program nor in libexec");
  Surroundings surroundings = currentSurroundings();
  ReadConfiguration read = readConfiguration(file, surroundings);
  if (!read.problems.empty()) return complain(read.problems);
  // First of all, so that it has nothing of what comes after.
  auto spawner = startSpawner(read.configuration, surroundings, worker);
  if (!spawner) return fail(spawner.error().text);
  SignalSource::block();
  raiseDescriptorLimit();
  Listeners::Opened early;
  if (const auto status = giveUpRights(read.configuration, early)) return *status;
  surroundings.whyNoRoots = nullptr;  // the spawner judges that, who can try
  SettingsOutcome outcome = loadSettings(std::move(read));
  if (!outcome.problems.empty()) return complain(outcome.problems);
  setUpLogging();
  Front front(std::move(spawner->socket), std::move(surroundings),
              ServiceManager::fromEnvironment());
  const std::vector<std::string> problems = front.start(outcome.settings, std::move(early));
  if (!problems.empty()) {
    (void)complain(problems);
    return kFailed;
  }
  return front.run() ? 0 : kFailed;
}

/// As whom the daemon would, since what it can read is part of the question.
int check(const std::string& file) {
  ReadConfiguration read = readConfiguration(file, currentSurroundings());
  if (!read.problems.empty()) return complain(read.problems);
  if (!read.configuration.user.empty()) {
    if (const std::string why = dropRoot(read.configuration); !why.empty()) return fail(why);
  }
  const SettingsOutcome outcome = checkSettings(std::move(read));
  if (!outcome.problems.empty()) return complain(outcome.problems);
  std::printf("%s: good\n", file.c_str());
  return 0;
}

int run(int argc, char** argv) {
  CLI::App app("Serves this node's files to the clients that its configuration names.", "hoqd");
  std::string file = "/etc/hoq/hoqd.toml";
  bool onlyCheck = false;
  app.add_option("--config", file, "The configuration")->capture_default_str();
  app.add_flag("--check-config", onlyCheck, "Say whether the configuration is good, and end");
  app.set_version_flag("--version", "hoqd " HOQ_PROGRAM_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsage;
  }
  return onlyCheck ? check(file) : serve(file);
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
