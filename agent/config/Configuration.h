#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace HOQ::agent {

/// One [[client]]: who it is, and what it may do.
struct ClientEntry {
  std::string name;  // an alternative name of its certificate, or "uid:N" of a UNIX peer
  bool mayRead = false;
  bool mayChange = false;
  std::string runAs;  // empty: the daemon's own user

  bool operator==(const ClientEntry&) const = default;
};

/// The files of [tls], absolute.
struct TlsFiles {
  std::string ca;
  std::string cert;
  std::string key;
  std::string revoked;  // empty: none is revoked

  bool operator==(const TlsFiles&) const = default;
};

/// The values of [limits].
struct Limits {
  std::uint32_t connections = 1024;
  std::uint32_t connectionsPerPeer = 256;
  std::uint32_t requestsPerClient = 64;
  std::uint32_t idleSeconds = 60;
  std::uint32_t messageBytes = 4194304;
  std::uint32_t workerIdleSeconds = 300;
  std::uint32_t drainSeconds = 30;

  bool operator==(const Limits&) const = default;
};

/// What the file says, with defaults filled in and relative names resolved. A plain value: reading
/// it opens no file but its own, so that it can be done before there are threads, keys or sockets.
struct Configuration {
  std::string file;                 // as it was named
  std::vector<std::string> listen;  // as written, each a good address
  std::string plugins;              // empty: where the programs look by themselves
  std::string state = "/var/lib/hoq";
  std::string audit;    // empty: the log
  std::string metrics;  // empty: none
  std::optional<TlsFiles> tls;
  Limits limits;
  std::vector<ClientEntry> clients;  // in the file's order: the first that matches counts
  std::map<std::string, int> lines;  // where keys stand, such as "tls.ca"; for error texts

  /// "FILE:LINE: KEY: REASON" for a value that proved bad after the reading.
  std::string complaint(const std::string& key, const std::string& reason) const;
};

/// What a configuration is read against.
struct Surroundings {
  std::string user;  // the daemon's own
};

Surroundings currentSurroundings();

/// The outcome of reading: `problems` is empty, or says in lines of the form
/// "FILE:LINE: KEY: REASON" why the configuration is refused.
struct ReadConfiguration {
  Configuration configuration;
  std::vector<std::string> problems;
};

/// Reads `file`. Any thread.
ReadConfiguration readConfiguration(const std::string& file, const Surroundings& surroundings);

/// The same for a text that is already there; relative names start at `file`'s folder.
ReadConfiguration parseConfiguration(const std::string& text, const std::string& file,
                                     const Surroundings& surroundings);

}  // namespace HOQ::agent
