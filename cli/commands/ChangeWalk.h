#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <hoq/HOQFilerOptions.h>

#include "commands/EachPath.h"
#include "commands/Lookup.h"
#include "commands/TreeSurvey.h"

namespace HOQ::cli {

/// Changes items, and the trees below them, from what the Filer tells of each. What is to be done
/// is worked out before anything is changed there, and items of equal change go into one request.
/// Links that a walk meets are left alone, or with `followLinks` stand for what they lead to, each
/// directory once. A directory is changed after everything else, except for a mode that lets its
/// owner in, which it gets before it is read.
///
/// Where every item becomes the same, trees without links go into recursive requests, which cost
/// the least, and several of them run at once. A link that somebody puts there between the look and
/// the request is followed, as the tools of the system follow it.
class ChangeWalk {
 public:
  using Paths = std::vector<std::string>;
  /// What becomes of an item, as a number: a mode, or where all become the same, 0.
  using Plan = std::function<unsigned(const HOQFileType& record)>;
  /// Makes the change; returns the Filer's code.
  using Request = std::function<int(HOQFiler& filer, const Paths& paths, unsigned change,
                                    const HOQFilerOptions& options)>;
  /// What `plan` depends on: kSame also promises that a directory so changed can still be entered.
  enum class Change { kSame, kEachItsOwn };

  /// `session` is not owned.
  ChangeWalk(Session& session, Plan plan, Change kind, Request request, bool followLinks);

  /// Changes the items, which stand for what they lead to where they are links; with `recursive`
  /// everything below as well. A link is entered with `followLinks` or a "/" behind its name.
  ExitStatus run(const std::vector<Named>& items, bool recursive);

 private:
  void item(const std::string& full, const HOQFileType& record);
  void plainTrees(const std::string& full, const RecordPtr& record);
  std::vector<int> wholly(const TreeSurvey& survey);
  void concludeWhole(const TreeSurvey::Directory& root, int code);
  void entriesOf(const std::string& full);
  void tree(const std::string& full, const HOQFileType& record);
  void directory(const std::string& full, const HOQFileType& record);
  void enter(const std::string& full, const HOQFileType& record, Paths& queue);
  void entry(const std::string& full, const HOQFileType& record, Paths& queue);
  void finish();
  void send(unsigned change, const Paths& paths);

  Session& session_;
  const Plan plan_;
  const Change kind_;
  const Request request_;
  const bool followLinks_;
  Lookup items_;     // described as they are
  Lookup followed_;  // described as what they lead to
  std::map<unsigned, Paths> batches_;
  std::vector<std::pair<std::string, unsigned>> directories_;  // parents before children
  std::set<std::string> entered_;                              // real paths; with followLinks_
  bool ended_ = false;  // by what is no fault of a path: no right, or an owner that is not there
  ExitStatus status_ = kExitDone;
};

}  // namespace HOQ::cli
