#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Session.h"

namespace HOQ::cli {

/// An item that a command's arguments name.
struct Named {
  std::string typed;  // as the argument names it
  std::string full;   // resolved
};

/// The items that arguments name: with `wildcards`, those that match where an argument is a
/// pattern. What cannot be read on the way, and an empty argument, is reported and makes `status`
/// worse. A pattern without matches names nothing, and is no failure.
std::vector<Named> namedItems(Session& session, const std::vector<std::string>& arguments,
                              bool wildcards, ExitStatus& status);

/// How a request names an item: a working directory, and a path that starts there.
struct Place {
  std::string directory;
  std::string path;
};

/// Where `full`, a resolved path, is found. `through`: the directory that a link of that name leads
/// to, which the Filer, taking paths literally, cannot be asked for by its path.
Place placeOf(Session& session, const std::string& full, bool through);

/// Whether `full` is a symbolic link.
bool isLink(Session& session, const std::string& full);

/// Whether `full` is a directory or leads to one.
bool isDirectory(Session& session, const std::string& full);

/// Tells the errors of a request, and what its code means for the exit status. `typed`: what was
/// to be worked on.
ExitStatus concluded(Session& session, int code, const std::string& typed);

/// Of two outcomes of a command, the one that its exit status tells.
ExitStatus worse(ExitStatus one, ExitStatus other);

/// One request that changes what `path` names; returns the Filer's code.
using ChangeRequest = std::function<int(HOQFiler& filer, const std::string& path)>;

/// Makes a request for each item, so that one that fails does not stop the others.
ExitStatus changeEach(Session& session, const std::vector<Named>& items,
                      const ChangeRequest& request);

}  // namespace HOQ::cli
