#include "config/Configuration.h"

#include <algorithm>
#include <set>

#include <hoq/HOQContentsEngine.h>

#include "config/AddressCheck.h"
#include "config/ClientName.h"
#include "config/ClientRules.h"
#include "config/PeerPattern.h"
#include "config/TableReader.h"

namespace HOQ::agent {
namespace {

constexpr std::size_t kMostListeners = 64;
constexpr std::size_t kMostClients = 10000;
constexpr std::size_t kMostPeers = 1000;
constexpr std::size_t kMostRoots = 64;

/// A data frame of a transfer, 256 KiB, must fit with room around it.
constexpr std::uint32_t kLeastMessageBytes = 512 << 10;
constexpr std::uint32_t kMostMessageBytes = 64 << 20;
constexpr std::uint32_t kDay = 86400;

/// Less than this, and a worker cannot load its libraries.
constexpr std::uint32_t kLeastMemoryMib = 512;

class Reading {
 public:
  Reading(const toml::table& root, const std::string& file, const Surroundings& surroundings,
          Findings& findings)
      : root_(root, "", findings), rules_(surroundings), findings_(findings) {
    result_.file = file;
    const std::size_t slash = file.rfind('/');
    folder_ = slash == std::string::npos ? "" : file.substr(0, slash + 1);
  }

  Configuration read() {
    listen();
    place("plugins", result_.plugins);
    engine();
    place("state", result_.state);
    place("audit", result_.audit);
    metrics();
    tls();
    limits();
    users();
    for (const toml::table* table : root_.tables("peer")) peer(*table);
    for (const toml::table* table : root_.tables("client")) client(*table);
    root_.finish();
    return std::move(result_);
  }

 private:
  std::string resolved(const std::string& name) const {
    return name.front() == '/' ? name : folder_ + name;
  }

  void place(const std::string& key, std::string& value) {
    if (const auto text = root_.text(key)) value = resolved(*text);
  }

  void listen() {
    if (!root_.has("listen")) return root_.missing("listen");
    std::set<std::string> seen;
    const bool array = root_.texts("listen", [&](const std::string& text, int line) {
      const std::string bad = badListenAddress(text);
      if (!bad.empty()) return findings_.complain(line, "listen", bad);
      if (!seen.insert(text).second) {
        return findings_.complain(line, "listen", "\"" + text + "\" stands there twice");
      }
      needsTls_ = needsTls_ || !isUnixAddress(text);
      result_.listen.push_back(text);
    });
    if (!array || !result_.listen.empty()) {
      if (result_.listen.size() > kMostListeners) root_.complain("listen", "too many addresses");
      return;
    }
    if (findings_.none()) root_.complain("listen", "must name at least one address");
  }

  void engine() {
    const auto text = root_.text("engine");
    if (!text) return;
    if (!HOQContentsEngine::named(*text))
      return root_.complain("engine",
                            "\"" + *text + "\" is no engine: there are \"blocks\" and \"kernel\"");
    result_.engine = *text;
  }

  void metrics() {
    const auto text = root_.text("metrics");
    if (!text) return;
    const std::string bad = badMetricsAddress(*text);
    if (!bad.empty()) return root_.complain("metrics", bad);
    result_.metrics = *text;
  }

  void tls() {
    const toml::table* table = root_.table("tls");
    if (!table) {
      if (needsTls_ && !root_.has("tls")) {
        root_.complain("tls", "missing, but needed to listen on a TCP address");
      }
      return;
    }
    TableReader reader(*table, "tls.", findings_);
    TlsFiles files;
    needed(reader, "ca", files.ca);
    needed(reader, "cert", files.cert);
    needed(reader, "key", files.key);
    if (const auto text = reader.text("revoked")) files.revoked = resolved(*text);
    reader.finish();
    result_.tls = files;
  }

  void needed(TableReader& reader, const std::string& key, std::string& value) {
    if (!reader.has(key)) return reader.missing(key);
    if (const auto text = reader.text(key)) value = resolved(*text);
  }

  void limits() {
    const toml::table* table = root_.table("limits");
    if (!table) return;
    TableReader reader(*table, "limits.", findings_);
    Limits& limits = result_.limits;
    reader.number("connections", 1, 100000, limits.connections);
    reader.number("connections_per_peer", 1, 100000, limits.connectionsPerPeer);
    reader.number("requests_per_client", 1, 10000, limits.requestsPerClient);
    reader.number("idle_seconds", 1, kDay, limits.idleSeconds);
    reader.number("message_bytes", kLeastMessageBytes, kMostMessageBytes, limits.messageBytes);
    reader.number("worker_idle_seconds", 1, 365 * kDay, limits.workerIdleSeconds);
    reader.number("drain_seconds", 1, kDay, limits.drainSeconds);
    reader.number("workers", 1, 10000, limits.workers);
    reader.number("worker_descriptors", 64, 1 << 20, limits.workerDescriptors);
    reader.number("worker_memory_mib", kLeastMemoryMib, 1 << 24, limits.workerMemoryMib);
    reader.finish();
  }

  void users() {
    const auto front = root_.text("user");
    const std::string bad = rules_.setFront(front);
    if (!bad.empty()) root_.complain("user", bad);
    result_.user = rules_.front();
    defaultRunAs_ = root_.text("default_run_as");
    if (!defaultRunAs_ || *defaultRunAs_ == ClientRules::kOwnName) return;
    const std::string badDefault = rules_.badRunAs(*defaultRunAs_);
    if (badDefault.empty()) return;
    root_.complain("default_run_as", badDefault);
    defaultRunAs_ = ClientRules::kOwnName;  // told once is enough: clients may go by it
    defaultIsBad_ = true;
  }

  void peer(const toml::table& table) {
    TableReader reader(table, "peer.", findings_);
    PeerEntry entry;
    if (!reader.has("name")) reader.missing("name");
    if (!reader.has("address")) reader.missing("address");
    if (const auto name = reader.text("name")) entry.name = *name;
    if (const auto address = reader.text("address")) {
      const std::string bad = badPeerPattern(*address);
      if (!bad.empty()) reader.complain("address", bad);
      entry.address = *address;
    }
    reader.finish();
    if (result_.peers.size() == kMostPeers) reader.complain("name", "too many peers");
    if (result_.peers.size() <= kMostPeers) result_.peers.push_back(std::move(entry));
  }

  void client(const toml::table& table) {
    TableReader reader(table, "client.", findings_);
    ClientEntry entry;
    if (!reader.has("name")) reader.missing("name");
    if (const auto name = reader.text("name")) {
      std::string bad = badClientName(*name);
      if (bad.empty()) bad = rules_.badUser(uidOfName(*name));
      if (!bad.empty()) reader.complain("name", bad);
      entry.name = *name;
    }
    rights(reader, entry);
    runAs(reader, entry);
    if (const auto text = reader.text("umask")) {
      const auto mask = umaskOf(*text);
      if (!mask) reader.complain("umask", "\"" + *text + "\" is no umask, such as \"027\"");
      entry.umask = mask.value_or(entry.umask);
    }
    roots(reader, entry);
    reader.finish();
    if (result_.clients.size() == kMostClients) reader.complain("name", "too many clients");
    if (result_.clients.size() <= kMostClients) result_.clients.push_back(std::move(entry));
  }

  void rights(TableReader& reader, ClientEntry& entry) {
    if (!reader.has("rights")) return reader.missing("rights");
    (void)reader.texts("rights", [&](const std::string& text, int line) {
      if (text == "read") {
        entry.mayRead = true;
      } else if (text == "change") {
        entry.mayChange = true;
      } else {
        findings_.complain(line, "client.rights",
                           "\"" + text + "\" is no right: there are \"read\" and \"change\"");
      }
    });
  }

  void runAs(TableReader& reader, ClientEntry& entry) {
    const auto own = reader.text("run_as");
    if (isUidName(entry.name)) {
      if (own) reader.complain("run_as", "an entry \"uid:\" takes none");
      return;
    }
    const auto& user = own ? own : defaultRunAs_;
    if (!user) {
      const std::string bad = rules_.whyNeeded();
      if (!bad.empty() && !reader.has("run_as")) reader.complain("run_as", bad);
      return;
    }
    if (!own && defaultIsBad_) return;
    entry.runAs = *user == ClientRules::kOwnName ? entry.name : *user;
    std::string bad = rules_.badRunAs(entry.runAs);
    if (bad.empty() && *user == ClientRules::kOwnName) bad = rules_.badOwnName(entry.name);
    if (!bad.empty()) reader.complain("run_as", bad);
  }

  void roots(TableReader& reader, ClientEntry& entry) {
    const bool given = reader.texts("roots", [&](const std::string& text, int line) {
      std::string bad = badRoot(text);
      const auto& known = entry.roots;
      if (bad.empty() && std::find(known.begin(), known.end(), text) != known.end()) {
        bad = "\"" + text + "\" stands there twice";
      }
      if (!bad.empty()) return findings_.complain(line, "client.roots", bad);
      entry.roots.push_back(text);
    });
    if (!given) return;
    if (entry.roots.size() > kMostRoots) reader.complain("roots", "too many");
    if (entry.roots.empty() && findings_.none()) {
      reader.complain("roots", "must name at least one folder; without the key all are open");
    }
    const std::string bad = rules_.badRoots();
    if (!bad.empty()) reader.complain("roots", bad);
  }

  TableReader root_;
  ClientRules rules_;
  Findings& findings_;
  std::string folder_;
  bool needsTls_ = false;
  std::optional<std::string> defaultRunAs_;
  bool defaultIsBad_ = false;
  Configuration result_;
};

/// One line of a parser's text.
std::string oneLine(std::string_view text) {
  std::string line(text.substr(0, 300));
  std::replace_if(
      line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
  return line;
}

}  // namespace

std::string Configuration::complaint(const std::string& key, const std::string& reason) const {
  const auto found = lines.find(key);
  const int line = found == lines.end() ? 1 : found->second;
  return file + ":" + std::to_string(line) + ": " + key + ": " + reason;
}

ReadConfiguration parseConfiguration(const std::string& text, const std::string& file,
                                     const Surroundings& surroundings) {
  Findings findings(file);
  ReadConfiguration result;
  try {
    const toml::table root = toml::parse(text, file);
    result.configuration = Reading(root, file, surroundings, findings).read();
  } catch (const toml::parse_error& error) {
    const int line = static_cast<int>(error.source().begin.line);
    findings.complain(std::max(1, line), "", oneLine(error.description()));
  }
  result.configuration.lines = findings.lines();
  result.problems = findings.problems();
  return result;
}

}  // namespace HOQ::agent
