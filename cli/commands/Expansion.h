#pragma once

#include <string>
#include <vector>

#include "commands/Lookup.h"

namespace HOQ::cli {

/// One item that a pattern stands for.
struct Match {
  std::string shown;  // as the pattern names it
  std::string full;   // resolved
  RecordPtr record;   // without what is below it
};

/// Expands a pattern component by component, so that every match has its whole path and all of
/// its information: a request of several components would give base names, and less below the
/// first. As in a shell, components in the middle lead through links; unlike there, "*" takes
/// hidden names. Matches come sorted by name; none is no failure.
class Expansion {
 public:
  /// `lookup` is not owned. `filters` apply to the matches, not to what leads to them.
  Expansion(Lookup& lookup, const std::vector<HOQFileFilter>* filters)
      : lookup_(lookup), filters_(filters) {}

  std::vector<Match> expand(const std::string& directory, const std::string& pattern);

  /// Whether everything on the way could be read.
  bool complete() const { return complete_; }

 private:
  void step(const std::string& component, bool last);
  void stepPattern(const Match& from, const std::string& pattern, bool last);
  void examineUnknown(bool directoriesOnly);

  Lookup& lookup_;
  const std::vector<HOQFileFilter>* const filters_;
  std::vector<Match> matches_;
  std::vector<Match> next_;
  bool complete_ = true;
};

}  // namespace HOQ::cli
