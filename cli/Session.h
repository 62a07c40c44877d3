#pragma once

#include <memory>
#include <string>
#include <utility>

#include <chrono>

#include <hoq/HOQContentsEngine.h>

#include "ExitStatus.h"
#include "LocalNode.h"
#include "News.h"
#include "Node.h"
#include "node/Network.h"
#include "output/Console.h"
#include "output/Output.h"

namespace HOQ::cli {

/// What the global options say.
struct Settings {
  std::string directory;  // -C; empty: the current one, on another node "/"
  std::string node;       // empty: this one
  ConnectionFiles files;  // for the way to other nodes
  std::string plugin;     // empty: the program's own
  HOQContentsEngine::Kind engine = HOQContentsEngine::kKernel;
  bool json = false;
  bool quiet = false;
  bool verbose = false;
  When progress = When::kAuto;
  When color = When::kAuto;
};

/// One run of a command: its streams, its node, its working directory. One thread.
class Session {
 public:
  explicit Session(const Settings& settings);

  const Settings& settings() const { return settings_; }
  Output& output() { return output_; }
  Console& console() { return console_; }

  /// Connects at the first call. Throws CommandError when that cannot be.
  Node& node(Rights rights = Rights());
  bool isRemote() const { return !settings_.node.empty(); }

  /// The way to other nodes, also for what this process itself sends there; made at the first call.
  Network& network();

  /// Whether the node was lost on the way.
  bool lostNode() const { return node_ && node_->lost(); }

  /// Where relative paths start: absolute and canonical. Throws CommandError.
  const std::string& directory();
  /// The same for the client's own files, wherever the node is.
  std::string localDirectory() const { return startOf(false); }

  /// Makes a Filer at `directory` that tells news().
  boost::shared_ptr<HOQFiler> filer(const std::string& directory);
  News& news() { return *news_; }

  /// Reports what news() has collected, one line each.
  void reportErrors();
  void reportError(const std::string& text) { console_.error(text); }

  bool showsColor() const;

  /// What the line of -v says was done, in place of a count of items.
  void setSummary(std::string text) { summary_ = std::move(text); }

  /// Writes what is left, ends progress, and says with -v what was done. Throws as Output does.
  void finish();

 private:
  std::string startOf(bool remote) const;

  const Settings settings_;
  const std::chrono::steady_clock::time_point started_;
  News::Counter items_{0};
  Output output_;
  Console console_;
  NewsPtr news_;
  std::string directory_;
  std::string summary_;
  std::unique_ptr<Network> network_;
  std::unique_ptr<Node> node_;
};

/// The exit status that a Filer's code means.
ExitStatus statusOf(int code);

}  // namespace HOQ::cli
