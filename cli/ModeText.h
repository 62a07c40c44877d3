#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace HOQ::cli {

/// A change of permission bits, as chmod(1) takes it: octal ("755"), or symbolic clauses
/// ("u=rwX,go-w", "+x", "g=u", "+t").
class ModeChange {
 public:
  /// Throws CommandError(kExitUsage) for any other text.
  explicit ModeChange(std::string_view text);

  /// The bits of an octal mode, which are the same for every item; empty for a symbolic one.
  std::optional<unsigned> octal() const { return octal_; }

  /// What the bits `mode` of an item become. Where a clause names nobody ("+x"), the bits of
  /// `mask`, the caller's umask, are left alone. The set-id bits of a directory change only where
  /// a clause names them.
  unsigned apply(unsigned mode, bool directory, unsigned mask) const;

 private:
  struct Action {
    char operation;           // one of "+-="
    unsigned affected;        // the bits of those that are named; 0: nobody is
    unsigned bits = 0;        // named for everybody
    bool searchable = false;  // X: execute for directories and what is executable for somebody
    char copied = 0;          // u, g or o: the bits that they have
  };

  bool parseClause(std::string_view& text);
  bool parseAction(std::string_view& text, unsigned affected);
  static unsigned valueOf(const Action& action, unsigned mode, bool directory);

  std::optional<unsigned> octal_;
  std::vector<Action> actions_;
};

}  // namespace HOQ::cli
