#include "config/Configuration.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>

#include "config/AddressCheck.h"
#include "config/ClientName.h"
#include "config/TableReader.h"

namespace HOQ::agent {
namespace {

constexpr std::streamsize kMostBytes = 1 << 20;
constexpr std::size_t kMostListeners = 64;
constexpr std::size_t kMostClients = 10000;

/// A data frame of a transfer, 256 KiB, must fit with room around it.
constexpr std::uint32_t kLeastMessageBytes = 512 << 10;
constexpr std::uint32_t kMostMessageBytes = 64 << 20;
constexpr std::uint32_t kDay = 86400;

class Reading {
 public:
  Reading(const toml::table& root, const std::string& file, const Surroundings& surroundings,
          Findings& findings)
      : root_(root, "", findings), surroundings_(surroundings), findings_(findings) {
    result_.file = file;
    const std::size_t slash = file.rfind('/');
    folder_ = slash == std::string::npos ? "" : file.substr(0, slash + 1);
  }

  Configuration read() {
    listen();
    place("plugins", result_.plugins);
    place("state", result_.state);
    place("audit", result_.audit);
    metrics();
    tls();
    limits();
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
    reader.finish();
  }

  void client(const toml::table& table) {
    TableReader reader(table, "client.", findings_);
    ClientEntry entry;
    if (!reader.has("name")) reader.missing("name");
    if (const auto name = reader.text("name")) {
      const std::string bad = badClientName(*name);
      if (!bad.empty()) reader.complain("name", bad);
      entry.name = *name;
    }
    rights(reader, entry);
    runAs(reader, entry);
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
    const auto user = reader.text("run_as");
    if (!user) return;
    if (isUidName(entry.name)) {
      return reader.complain("run_as", "an entry \"uid:\" takes none");
    }
    if (*user != surroundings_.user) {
      return reader.complain("run_as", "\"" + *user + "\" is not the daemon's own user, \"" +
                                           surroundings_.user + "\"");
    }
    entry.runAs = *user;
  }

  TableReader root_;
  const Surroundings& surroundings_;
  Findings& findings_;
  std::string folder_;
  bool needsTls_ = false;
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

Surroundings currentSurroundings() {
  const passwd* entry = ::getpwuid(::geteuid());
  return {entry ? entry->pw_name : std::to_string(::geteuid())};
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

ReadConfiguration readConfiguration(const std::string& file, const Surroundings& surroundings) {
  const auto refuse = [&](const std::string& reason) {
    return ReadConfiguration{{}, {file + ":1: " + reason}};
  };
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return refuse("cannot be opened: " + std::generic_category().message(errno));
  std::string text(static_cast<std::size_t>(kMostBytes) + 1, '\0');
  stream.read(text.data(), kMostBytes + 1);
  if (stream.bad()) return refuse("cannot be read: " + std::generic_category().message(errno));
  if (stream.gcount() > kMostBytes) return refuse("longer than 1 MiB");
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return parseConfiguration(text, file, surroundings);
}

}  // namespace HOQ::agent
