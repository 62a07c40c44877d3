#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
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
  std::string runAs;   // whom its requests run as; empty for "uid:N", which is that
                       // user, and for the daemon's own user, started without root
  mode_t umask = 022;  // of its requests
  std::vector<std::string> roots = {};  // what its requests are confined to; empty: to nothing

  bool operator==(const ClientEntry&) const = default;
};

/// One [[peer]]: a node that may be dialled.
struct PeerEntry {
  std::string name;     // an alternative name that its certificate must bear
  std::string address;  // a pattern: see PeerPattern.h

  bool operator==(const PeerEntry&) const = default;
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
  std::uint32_t workers = 64;
  std::uint32_t workerDescriptors = 4096;
  std::uint32_t workerMemoryMib = 0;  // of address space; 0: as much as there is

  bool operator==(const Limits&) const = default;
};

/// What the file says, with defaults filled in and relative names resolved. A plain value: reading
/// it opens no file but its own, so that it can be done before there are threads, keys or sockets.
struct Configuration {
  std::string file;                 // as it was named
  std::vector<std::string> listen;  // as written, each a good address
  std::string plugins;              // empty: where the programs look by themselves
  std::string engine = "kernel";  // of the workers: see HOQContentsEngine
  std::string state = "/var/lib/hoq";
  std::string audit;    // empty: the log
  std::string metrics;  // empty: none
  std::optional<TlsFiles> tls;
  Limits limits;
  std::string user;              // whom the front becomes; empty: it stays who it is
  std::vector<PeerEntry> peers;  // that may be dialled; empty: all whom the authority vouches for
  std::vector<ClientEntry> clients;  // in the file's order: the first that matches counts
  std::map<std::string, int> lines;  // where keys stand, such as "tls.ca"; for error texts

  /// "FILE:LINE: KEY: REASON" for a value that proved bad after the reading.
  std::string complaint(const std::string& key, const std::string& reason) const;
};

/// What a configuration is read against.
struct Surroundings {
  std::string user;     // the daemon's own
  bool isRoot = false;  // so it may become others, and start workers that are others
  /// The id of a user of this machine, nothing where there is none. Empty: all are taken to be
  /// there, and to be different ones.
  std::function<std::optional<uid_t>(const std::string& user)> uidOf = {};
  /// Why nobody can be confined to `roots` here; an empty text where it can be done. Empty: it can.
  std::function<std::string()> whyNoRoots = {};
};

/// The outcome of reading: `problems` is empty, or says in lines of the form
/// "FILE:LINE: KEY: REASON" why the configuration is refused.
struct ReadConfiguration {
  Configuration configuration;
  std::vector<std::string> problems;
};

/// Takes the text of a configuration; relative names start at `file`'s folder. Any thread.
ReadConfiguration parseConfiguration(const std::string& text, const std::string& file,
                                     const Surroundings& surroundings);

}  // namespace HOQ::agent
