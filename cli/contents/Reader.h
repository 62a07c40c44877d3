#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contents/Batch.h"
#include "contents/BatchQueue.h"
#include "contents/ContentsOptions.h"
#include "contents/OpenLevels.h"
#include "contents/Outcome.h"
#include "contents/Pieces.h"

namespace HOQ::cli {

/// One item that is to be copied, and its new name.
struct Wanted {
  std::string source;  // full, or kStream
  std::string name;
  Attributes attributes;
  bool contents = false;  // of a directory: what is in it goes where it would go itself
  std::string typed;      // as the command line names it
};

/// Walks over the sources, looks at what there is on the target side, makes directories there, and
/// hands the contents of files over. Runs on a thread of its own; the sides are its own.
class Reader {
 public:
  /// Nothing is owned. `local` and `remote` are the two sides again.
  Reader(const ContentsOptions& options, Side& source, Side& target, Pieces& pieces,
         OpenLevels& levels, Outcome& outcome);

  /// Everything goes into `directory`, which is there. `placeName`: see StagingPlace.
  void run(const std::vector<Wanted>& items, const std::string& directory,
           const std::string& placeName);
  /// Everything goes to standard output, one behind the other.
  void runToStream(const std::vector<Wanted>& items);

 private:
  /// A directory of the target side, and what is known of it.
  struct Folder {
    std::shared_ptr<Level> level;
    std::string path;                           // where the user will find it
    std::string work;                           // where it comes together; of a level: once needed
    bool isLevel = false;                       // it was there before
    std::map<std::string, Attributes> there;    // of the names wanted
    std::map<std::string, Attributes> partial;  // what an earlier run has left of them
  };

  std::vector<Wanted> withoutDoubles(const std::vector<Wanted>& items,
                                     const std::string& directory);
  void enter(const std::vector<Wanted>& items, const std::string& directory);
  void children(const std::vector<Wanted>& items, Folder& folder);
  void lookUp(const std::vector<Wanted>& items, Folder& folder);
  const std::string& workOf(Folder& folder);
  void item(const Wanted& wanted, Folder& folder);
  std::vector<Wanted> contentsOf(const std::string& directory);

  void directory(const Wanted& wanted, Folder& folder);
  void newDirectory(const Wanted& wanted, Folder& folder);
  void dropStrangers(const std::vector<Wanted>& items, Folder& folder);
  DirectoryEnd endOf(const Wanted& wanted, const std::string& path, std::int64_t mode);

  void file(const Wanted& wanted, Folder& folder);
  enum class Target { kNew, kReplaced, kContinued, kThere, kRefused };
  Target judge(const Wanted& wanted, Folder& folder, Job& job);
  Target judgeExisting(const Wanted& wanted, const Attributes& there, bool continuable, Job& job);
  void takeUp(const Attributes& left, Job& job);
  bool continues(Job& job, const std::string& target, std::uint64_t bytes);
  void setModes(Job& job, Target target);

  const ContentsOptions& options_;
  Side& source_;
  Side& target_;
  Side& local_;
  Side& remote_;
  Pieces& pieces_;
  OpenLevels& levels_;
  Outcome& outcome_;
  std::string placeName_;
};

}  // namespace HOQ::cli
