#pragma once

#include <map>
#include <string>
#include <vector>

#include "commands/Command.h"
#include "commands/EachPath.h"
#include "commands/Lookup.h"
#include "progress/TransferProgress.h"

namespace HOQ::cli {

/// What cp and mv are told.
struct TransferOptions {
  bool move = false;
  bool recursive = false;
  bool force = false;
  bool followLinks = false;
  bool wildcards = false;
  bool noCount = false;
};

/// The command-line options that set them; `options` is not owned.
std::vector<Option> transferOptions(TransferOptions& options);

/// One run of cp or mv: sources, each by a request of its own, so that one that fails does not
/// stop the others, to a destination that is looked at as users of such commands expect.
class Transfer {
 public:
  /// `session` is not owned.
  Transfer(Session& session, const TransferOptions& options);

  /// The last argument is the destination.
  ExitStatus run(const std::vector<std::string>& arguments);

 private:
  /// Where things go.
  struct Destination {
    std::string typed;
    std::string full;  // the directory itself where a link leads to it
    bool isDirectory = false;
    bool exists = false;
  };

  /// What a request carries, and where the user will find it.
  struct Source {
    Named named;
    Amount amount;           // without what is below it
    bool directory = false;  // or a link that is carried as one
    bool contents = false;   // "d/.": what is in it is merged into the destination
    bool through = false;    // "link/": the directory that it leads to
    Place place;
    std::string destination;  // of the request
    std::string result;       // the new item
  };

  Destination findDestination(const std::string& typed);
  void checkSlash(const Destination& destination);
  ExitStatus addSource(const Named& named, const Destination& destination);
  std::string whyRefused(const Source& source);
  bool holdsWorkingDirectory(const std::string& full);
  std::optional<Amount> countRest(const HOQRequestHandlerPtr& counted);
  ExitStatus carryAll();
  ExitStatus carry(const Source& source);
  int flags() const;

  Session& session_;
  const TransferOptions options_;
  Lookup lookup_;
  TransferProgress progress_;
  std::vector<Source> sources_;
  std::size_t current_ = 0;                  // the source in hand
  std::map<std::string, std::string> made_;  // new items, and what was typed for them
  std::string workingDirectory_;             // without links; once it was asked for
};

}  // namespace HOQ::cli
