#pragma once

#include <memory>
#include <string>
#include <vector>

#include "config/Configuration.h"
#include "control/Message.h"
#include "tls/TlsContext.h"

namespace HOQ::agent {

/// A configuration with what it names read in: what is in force. Immutable.
struct Settings {
  Configuration configuration;
  tls::TlsContextPtr tls;   // empty without [tls]
  std::string authorities;  // the text of tls.ca
  std::string nodeEid;      // empty where it was only checked
};
using SettingsPtr = std::shared_ptr<const Settings>;

/// `settings` is empty where there are `problems`, lines of the form "FILE:LINE: KEY: REASON".
struct SettingsOutcome {
  SettingsPtr settings;
  std::vector<std::string> problems;
};

/// Reads the certificates that a configuration names.
SettingsOutcome checkSettings(ReadConfiguration read);

/// The same, and the node's state, which is made where it is missing.
SettingsOutcome loadSettings(ReadConfiguration read);

/// What the worker of `entry` is told; null: of the clients that no entry names.
Welcome welcomeFor(const Settings& settings, const ClientEntry* entry);

}  // namespace HOQ::agent
