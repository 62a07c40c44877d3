#include "ModeText.h"

#include <algorithm>
#include <string>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

constexpr unsigned kAllBits = 07777;
constexpr unsigned kSetIds = 06000;
constexpr unsigned kExecute = 0111;

/// For each letter, the bits that it stands for.
struct LetterBits {
  char letter;
  unsigned bits;
};

constexpr LetterBits kWho[] = {{'u', 04700}, {'g', 02070}, {'o', 01007}, {'a', kAllBits}};
constexpr LetterBits kPermissions[] = {
    {'r', 0444}, {'w', 0222}, {'x', kExecute}, {'s', kSetIds}, {'t', 01000}};

template <std::size_t N>
unsigned bitsOf(const LetterBits (&table)[N], char letter) {
  for (const LetterBits& row : table)
    if (row.letter == letter) return row.bits;
  return 0;
}

bool isOperation(char c) { return c == '+' || c == '-' || c == '='; }

/// The permissions that one of u, g, o has in `mode`, for everybody.
unsigned spread(char who, unsigned mode) {
  const unsigned shift = who == 'u' ? 6 : who == 'g' ? 3 : 0;
  return ((mode >> shift) & 7U) * 0111U;
}

std::optional<unsigned> parseOctal(std::string_view text) {
  unsigned bits = 0;
  for (const char c : text) {
    if (c < '0' || c > '7') return std::nullopt;
    bits = bits * 8 + static_cast<unsigned>(c - '0');
    if (bits > kAllBits) return std::nullopt;
  }
  return text.empty() ? std::nullopt : std::optional<unsigned>(bits);
}

}  // namespace

ModeChange::ModeChange(std::string_view text) : octal_(parseOctal(text)) {
  if (octal_) return;
  std::string_view rest = text;
  bool good = parseClause(rest);
  while (good && !rest.empty()) {
    good = rest.front() == ',';
    rest.remove_prefix(1);
    good = good && parseClause(rest);
  }
  if (!good)
    throw CommandError(kExitUsage, "bad mode \"" + std::string(text) +
                                       "\": octal like 755, or symbolic like u=rwX,go-w");
}

/// Takes one clause off the front: who, and one operation or more.
bool ModeChange::parseClause(std::string_view& text) {
  unsigned affected = 0;
  while (!text.empty() && bitsOf(kWho, text.front()) != 0) {
    affected |= bitsOf(kWho, text.front());
    text.remove_prefix(1);
  }
  if (text.empty() || !isOperation(text.front())) return false;
  while (!text.empty() && isOperation(text.front()))
    if (!parseAction(text, affected)) return false;
  return true;
}

bool ModeChange::parseAction(std::string_view& text, unsigned affected) {
  Action action{text.front(), affected};
  text.remove_prefix(1);
  if (!text.empty() && (text.front() == 'u' || text.front() == 'g' || text.front() == 'o')) {
    action.copied = text.front();
    text.remove_prefix(1);
  } else {
    for (; !text.empty() && text.front() != ',' && !isOperation(text.front());
         text.remove_prefix(1)) {
      const unsigned bits = bitsOf(kPermissions, text.front());
      if (bits == 0 && text.front() != 'X') return false;
      action.bits |= bits;
      action.searchable = action.searchable || text.front() == 'X';
    }
  }
  actions_.push_back(action);
  return text.empty() || text.front() == ',' || isOperation(text.front());
}

unsigned ModeChange::valueOf(const Action& action, unsigned mode, bool directory) {
  if (action.copied != 0) return spread(action.copied, mode);
  const bool searchable = action.searchable && (directory || (mode & kExecute) != 0);
  return action.bits | (searchable ? kExecute : 0U);
}

unsigned ModeChange::apply(unsigned mode, bool directory, unsigned mask) const {
  if (octal_) return *octal_;
  unsigned result = mode & kAllBits;
  for (const Action& action : actions_) {
    const unsigned reached = action.affected != 0 ? action.affected : kAllBits & ~mask;
    const unsigned named = action.bits & reached;
    const unsigned kept = directory ? kSetIds & ~named : 0U;
    const unsigned value = valueOf(action, result, directory) & reached & ~kept;
    // "=" without who takes away what the mask keeps from being given, too.
    const unsigned replaced = (action.affected != 0 ? action.affected : kAllBits) & ~kept;
    if (action.operation == '=') result = (result & ~replaced) | value;
    if (action.operation == '+') result |= value;
    if (action.operation == '-') result &= ~value;
  }
  return result;
}

}  // namespace HOQ::cli
