#include "front/Setup.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "front/NodeState.h"

namespace HOQ::agent {
namespace {

std::string contentsOf(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The key whose file an error text names.
const char* keyNamedIn(const std::string& text, const TlsFiles& files) {
  const auto names = [&](const std::string& file) {
    return !file.empty() && text.find(file) != std::string::npos;
  };
  if (names(files.revoked)) return "tls.revoked";
  if (names(files.key)) return "tls.key";
  if (names(files.cert)) return "tls.cert";
  if (names(files.ca)) return "tls.ca";
  return "tls";
}

void loadTls(Settings& settings, std::vector<std::string>& problems) {
  const auto& files = settings.configuration.tls;
  if (!files) return;
  auto context = tls::TlsContext::load({files->ca, files->cert, files->key, files->revoked});
  if (!context) {
    std::string text = context.error().text;
    if (!settings.configuration.user.empty()) {
      text += " (it is read as the user \"" + settings.configuration.user + "\")";
    }
    return problems.push_back(settings.configuration.complaint(keyNamedIn(text, *files), text));
  }
  settings.tls = std::move(*context);
  settings.authorities = contentsOf(files->ca);
}

void loadState(Settings& settings, std::vector<std::string>& problems) {
  auto eid = nodeEidIn(settings.configuration.state);
  if (!eid) {
    return problems.push_back(settings.configuration.complaint("state", eid.error().text));
  }
  settings.nodeEid = *eid;
}

SettingsOutcome load(ReadConfiguration read, bool withState) {
  SettingsOutcome outcome{nullptr, std::move(read.problems)};
  if (!outcome.problems.empty()) return outcome;
  auto settings = std::make_shared<Settings>();
  settings->configuration = std::move(read.configuration);
  loadTls(*settings, outcome.problems);
  if (withState && outcome.problems.empty()) loadState(*settings, outcome.problems);
  if (outcome.problems.empty()) outcome.settings = std::move(settings);
  return outcome;
}

}  // namespace

SettingsOutcome checkSettings(ReadConfiguration read) { return load(std::move(read), false); }

SettingsOutcome loadSettings(ReadConfiguration read) { return load(std::move(read), true); }

Welcome welcomeFor(const Settings& settings, const ClientEntry* entry) {
  const Limits& limits = settings.configuration.limits;
  Welcome welcome;
  welcome.client = entry ? entry->name : "unknown";
  welcome.mayRead = entry && entry->mayRead;
  welcome.mayChange = entry && entry->mayChange;
  welcome.nodeEid = settings.nodeEid;
  // Workers are elsewhere than the front was started.
  const std::string& plugins = settings.configuration.plugins;
  if (!plugins.empty()) welcome.pluginsFolder = std::filesystem::absolute(plugins).string();
  welcome.requests = limits.requestsPerClient;
  welcome.idleSeconds = limits.idleSeconds;
  welcome.messageBytes = limits.messageBytes;
  welcome.engine = settings.configuration.engine;
  return welcome;
}

}  // namespace HOQ::agent
