#include "commands/EachPath.h"

#include <algorithm>

#include <hoq/HOQResultCodes.h>

#include "PathText.h"
#include "commands/Expansion.h"

namespace HOQ::cli {

std::vector<Named> namedItems(Session& session, const std::vector<std::string>& arguments,
                              bool wildcards, ExitStatus& status) {
  std::vector<Named> items;
  Lookup lookup(session, 0, HOQFileType::kType | HOQFileType::kName);
  for (const std::string& argument : arguments) {
    if (argument.empty()) {
      session.reportError("\"\", No such file or directory");
      status = worse(status, kExitFailed);
    } else if (wildcards && hasWildcards(argument)) {
      Expansion expansion(lookup, nullptr);
      for (Match& match : expansion.expand(session.directory(), argument))
        items.push_back({std::move(match.shown), std::move(match.full)});
      if (!expansion.complete()) status = worse(status, kExitFailed);
      if (lookup.refused()) status = kExitRefused;
    } else {
      items.push_back({argument, resolve(session.directory(), argument)});
    }
  }
  return items;
}

Place placeOf(Session& session, const std::string& full, bool through) {
  if (full == "/") return {"/", ""};
  if (through) return {join(full, "."), ""};
  return {session.directory(), full};
}

bool isLink(Session& session, const std::string& full) {
  std::string why;  // what cannot be examined is met by the request itself
  Lookup lookup(session, 0, HOQFileType::kType);
  const RecordPtr record = lookup.find(full, false, why);
  return record && record->type == HOQFileType::kLink;
}

bool isDirectory(Session& session, const std::string& full) {
  std::string why;  // no directory, for whatever reason
  Lookup lookup(session, 0, HOQFileType::kType);
  return lookup.find(join(full, "."), true, why) != nullptr;
}

ExitStatus concluded(Session& session, int code, const std::string& typed) {
  const auto errors = session.news().takeErrors();
  for (const std::string& text : errors) session.reportError(text);
  if (code == kAccessRefused) session.reportError("\"" + typed + "\", access refused");
  return code == 0 && !errors.empty() ? kExitFailed : statusOf(code);
}

ExitStatus worse(ExitStatus one, ExitStatus other) { return std::max(one, other); }

ExitStatus changeEach(Session& session, const std::vector<Named>& items,
                      const ChangeRequest& request) {
  ExitStatus status = kExitDone;
  for (const Named& item : items) {
    const bool through = namesDirectory(item.typed) && isLink(session, item.full);
    const Place place = placeOf(session, item.full, through);
    const int code = request(*session.filer(place.directory), place.path);
    status = worse(status, concluded(session, code, item.typed));
    // Access refused, or an owner that is not there: no fault of this path.
    if (code != 0 && code != kPathFailed) break;
  }
  return status;
}

}  // namespace HOQ::cli
