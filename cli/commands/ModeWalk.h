#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ModeText.h"
#include "commands/Lookup.h"

namespace HOQ::cli {

/// Gives items, and the trees below them, modes that depend on what they have. Modes are worked out
/// from what the Filer tells of an item before anything is changed there, and sent in batches of
/// equal modes. A directory gets a mode that lets its owner in at once, before it is read, and any
/// other one after everything else. Links that a walk meets are left alone, or with `followLinks`
/// stand for what they lead to, each directory once.
class ModeWalk {
 public:
  /// `session` and `change` are not owned. `mask`: the caller's umask.
  ModeWalk(Session& session, const ModeChange& change, unsigned mask, bool followLinks);

  /// The item `full`, a resolved path; what `record` tells is of what a link leads to.
  void item(const std::string& full, const HOQFileType& record);
  /// The same, and everything below it.
  void tree(const std::string& full, const HOQFileType& record);

  /// Changes what has been put off. Access refused wins over other failures.
  ExitStatus finish();

 private:
  using Paths = std::vector<std::string>;

  unsigned modeOf(const HOQFileType& record) const;
  void directory(const std::string& full, const HOQFileType& record);
  void enter(const std::string& full, const HOQFileType& record, Paths& queue);
  void entry(const std::string& full, const HOQFileType& record, Paths& queue);
  void send(unsigned mode, const Paths& paths);

  Session& session_;
  const ModeChange& change_;
  const unsigned mask_;
  const bool followLinks_;
  Lookup items_;     // described as they are
  Lookup followed_;  // described as what they lead to
  std::map<unsigned, Paths> batches_;
  std::vector<std::pair<std::string, unsigned>> directories_;  // parents before children
  std::set<std::string> entered_;                              // real paths; with followLinks_
  ExitStatus status_ = kExitDone;
};

}  // namespace HOQ::cli
