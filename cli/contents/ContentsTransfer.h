#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Session.h"
#include "contents/ContentsOptions.h"
#include "contents/Interruption.h"
#include "contents/Outcome.h"
#include "contents/Reader.h"

namespace HOQ::cli {

/// One run of put or get: finds out what the arguments name, and has it carried.
class ContentsTransfer {
 public:
  /// `session` is not owned.
  ContentsTransfer(Session& session, const ContentsOptions& options);

  /// The last argument is the target. A signal that ends the program does so after tidying up.
  ExitStatus run(const std::vector<std::string>& arguments);

 private:
  /// Where things go.
  struct Destination {
    std::string typed;
    std::string directory;  // that holds the new items, without links at its end
    std::string name;       // of the new item; empty: each has its own
    bool exists = false;
  };

  std::unique_ptr<Side> makeSide(bool remote);
  std::unique_ptr<Side> makeSource() { return makeSide(!options_.put); }
  std::unique_ptr<Side> makeTarget() { return makeSide(options_.put); }

  ExitStatus runArguments(const std::vector<std::string>& arguments);
  void checkStreams(const std::vector<std::string>& sources, const std::string& target) const;
  Destination findDestination(const std::string& typed);
  bool wasBegunAs(const std::string& typed, const std::string& full);
  std::string realPathOf(const std::string& directory);
  void findSources(const std::vector<std::string>& typed, const Destination& destination);
  void addSource(const std::string& typed, const std::string& full, const Destination& destination);
  std::string whyRefused(const Wanted& wanted, const Destination& destination) const;
  void checkSlash(const Destination& destination) const;

  void carry(const Destination& destination);
  std::string placeNameOf() const;

  Session& session_;
  const ContentsOptions options_;
  Interruption interruption_;
  Outcome outcome_;
  bool toStream_ = false;
  std::unique_ptr<Side> source_;  // of this thread, before there is another
  std::unique_ptr<Side> target_;
  std::vector<Wanted> wanted_;
};

}  // namespace HOQ::cli
