#include "front/Setup.h"

#include <fstream>
#include <iterator>

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
    const std::string& text = context.error().text;
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

SettingsOutcome load(const std::string& file, bool withState) {
  ReadConfiguration read = readConfiguration(file, currentSurroundings());
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

SettingsOutcome checkSettings(const std::string& file) { return load(file, false); }

SettingsOutcome loadSettings(const std::string& file) { return load(file, true); }

Welcome welcomeFor(const Settings& settings, const ClientEntry* entry) {
  const Limits& limits = settings.configuration.limits;
  Welcome welcome;
  welcome.client = entry ? entry->name : "unknown";
  welcome.mayRead = entry && entry->mayRead;
  welcome.mayChange = entry && entry->mayChange;
  welcome.nodeEid = settings.nodeEid;
  welcome.pluginsFolder = settings.configuration.plugins;
  welcome.requests = limits.requestsPerClient;
  welcome.idleSeconds = limits.idleSeconds;
  welcome.messageBytes = limits.messageBytes;
  return welcome;
}

}  // namespace HOQ::agent
