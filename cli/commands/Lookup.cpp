#include "commands/Lookup.h"

#include <algorithm>
#include <boost/smart_ptr/make_shared.hpp>
#include <cerrno>
#include <exception>

#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQResultCodes.h>

#include "ExitStatus.h"
#include "PathText.h"
#include "listing/RecordTaker.h"
#include "listing/Selection.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kPlaceholders = 2;  // the Filer's "." and ".." without contents come first
constexpr std::string_view kNotDirectoryText = "Cannot list/stat non directory item";

bool saysNotDirectory(const std::vector<std::string>& errors) {
  return errors.size() == 1 && errors.front().find(kNotDirectoryText) != std::string::npos;
}

/// Whether a stat failed because there is no such item, or something on the way is no directory.
bool saysMissing(const std::vector<std::string>& errors) {
  if (saysNotDirectory(errors)) return true;
  const std::string_view text = errors.empty() ? std::string_view() : errors.front();
  for (const int code : {ENOENT, ENOTDIR}) {
    const std::string suffix = "[" + std::to_string(code) + "]";
    if (text.size() > suffix.size() && text.substr(text.size() - suffix.size()) == suffix)
      return true;
  }
  return false;
}

/// Takes the "/." that a request was helped with out of the Filer's line: "/a/." is "/a", and "/."
/// is "/".
std::string tidied(std::string text) {
  const std::size_t helped = text.find("/.\", ");
  if (helped == std::string::npos) return text;
  const bool root = helped == 1;  // behind the quote
  return root ? text.erase(helped + 1, 1) : text.erase(helped, 2);
}

}  // namespace

/// `parent`: what a ".." for the taker is shown as; empty: as it comes.
Listed Lookup::ask(const std::string& directory, const std::string& path, int options,
                   const std::vector<HOQFileFilter>* filters, RecordTaker* taker,
                   const RecordPtr& parent) {
  Listed listed{Listed::Outcome::kListed, false, {}, {}};
  const auto filer = session_.filer(directory);
  News& news = session_.news();
  std::size_t came = 0;
  std::exception_ptr failure;
  if (taker != nullptr) {
    news.takesTrees = taker->takesTrees();
    news.onRecord = [&](const RecordPtr& record, std::size_t level) {
      if (level == 0 && came++ < kPlaceholders) return true;
      const bool replaced = parent && level == 0 && record->name == "..";
      try {
        taker->take(replaced ? *parent : *record, level);
      } catch (const CommandError&) {
        failure = std::current_exception();
      }
      return !failure;
    };
  }
  const int code = filer->list({path}, &listed.records, HOQFilerOptions(options), filters, fields_);
  if (taker != nullptr) {
    for (const RecordPtr& record : listed.records)  // of a node that kept them
      if (!news.onRecord(record, 0)) break;
    listed.records.clear();
    news.onRecord = nullptr;
    news.takesTrees = false;
    if (failure) std::rethrow_exception(failure);
    if (!news.answered) {  // what came before the end of the connection is no answer
      taker->clear();
      came = 0;
    }
  }
  listed.errors = news.takeErrors();
  if (code == kAccessRefused) {
    refused_ = true;
    listed.errors = {"\"" + directory + "\", access refused"};
    listed.outcome = Listed::Outcome::kRefused;
    return listed;
  }
  if (listed.records.size() >= kPlaceholders)
    listed.records.erase(listed.records.begin(),
                         listed.records.begin() + static_cast<std::ptrdiff_t>(kPlaceholders));
  listed.count = taker == nullptr ? listed.records.size() : came - std::min(came, kPlaceholders);
  if (code != 0 && listed.count == 0 && saysNotDirectory(listed.errors)) {
    listed.outcome = Listed::Outcome::kNotDirectory;
    listed.errors.clear();
    return listed;
  }
  listed.complete = code == 0 && listed.errors.empty();
  return listed;
}

Listed Lookup::reported(Listed listed) {
  for (const std::string& text : listed.errors) session_.reportError(tidied(text));
  listed.errors.clear();
  return listed;
}

Listed Lookup::list(const std::string& full, bool through,
                    const std::vector<HOQFileFilter>* filters, RecordTaker* taker) {
  Listed listed = askThrough(full, through, options_, filters, taker);
  // Only the Filer's own walk knows where another file system begins.
  constexpr int kEntersDirectories = HOQFilerOptions::kRecursive | HOQFilerOptions::kSumSizes;
  const bool stopped =
      listed.outcome == Listed::Outcome::kListed && !listed.complete && listed.count != 0;
  if (stopped && (options_ & kEntersDirectories) != 0 &&
      (options_ & HOQFilerOptions::kOneFileSystem) == 0) {
    putTogether(full, through, listed, filters);
    listed.count = listed.records.size();
    if (taker != nullptr) {
      taker->clear();
      for (const RecordPtr& record : listed.records) taker->take(*record, 0);
      listed.records.clear();
    }
  }
  return reported(std::move(listed));
}

void Lookup::putTogether(const std::string& full, bool through, Listed& listed,
                         const std::vector<HOQFileFilter>* filters) {
  struct Visited {
    RecordPtr record;
    std::string path;
    std::size_t parent;
  };
  const int options = options_ & HOQFilerOptions::kFollowLinks;
  std::vector<Visited> visited{{boost::make_shared<HOQFileType>(), full, 0}};
  listed.errors.clear();
  for (std::size_t i = 0; i < visited.size(); ++i) {
    const std::string path = std::move(visited[i].path);
    Listed level = askThrough(path, through && i == 0, options, filters);
    listed.errors.insert(listed.errors.end(), level.errors.begin(), level.errors.end());
    for (const RecordPtr& record : level.records)
      if (record->type == HOQFileType::kDirectory && !isDots(record->name))
        visited.push_back({record, join(path, record->name), i});
    visited[i].record->children = std::move(level.records);
  }
  listed.records = visited.front().record->children;
  if ((options_ & HOQFilerOptions::kSumSizes) != 0)
    for (std::size_t i = visited.size() - 1; i > 0; --i) {  // children before parents
      for (const RecordPtr& child : visited[i].record->children)
        if (!isDots(child->name)) visited[i].record->size += child->size;
    }
}

Listed Lookup::askThrough(const std::string& full, bool through, int options,
                          const std::vector<HOQFileFilter>* filters, RecordTaker* taker) {
  Listed listed = ask(full, "", options, filters, taker);
  if (listed.outcome != Listed::Outcome::kNotDirectory || !through) return listed;
  if (taker != nullptr) {
    std::string why;
    const RecordPtr parent = filters == nullptr ? find(join(full, ".."), true, why) : nullptr;
    if (parent) parent->name = "..";
    return ask(join(full, "."), "", options, filters, taker, parent);
  }
  listed = ask(join(full, "."), "", options, filters);
  if (listed.outcome != Listed::Outcome::kListed) return listed;
  // The Filer cuts "/.." off by its text, which is the link here.
  for (RecordPtr& record : listed.records) {
    if (record->name != "..") continue;
    std::string why;
    if (const RecordPtr parent = find(join(full, ".."), true, why)) record = parent;
    record->name = "..";
    break;
  }
  return listed;
}

Listed Lookup::match(const std::string& full, const std::string& pattern,
                     const std::vector<HOQFileFilter>* filters) {
  // A walk that goes below the matches would answer what it finds there beside them.
  const int options = (options_ & HOQFilerOptions::kFollowLinks) | HOQFilerOptions::kWildcards;
  return reported(ask(join(full, "."), pattern, options, filters));
}

RecordPtr Lookup::find(const std::string& full, bool through, std::string& why) {
  const bool whole = through || full == "/";
  const auto filer = session_.filer(whole ? full : join(parentOf(full), "."));
  Records records;
  const int code = filer->stat({whole ? "" : leafOf(full)}, &records,
                               HOQFilerOptions(options_ & HOQFilerOptions::kFollowLinks), fields_);
  const auto errors = session_.news().takeErrors();
  if (code == kAccessRefused) {
    refused_ = true;
    why = "access refused";
  } else if (code != 0 && !errors.empty() && !saysMissing(errors)) {
    why = errors.front();
  }
  return records.empty() ? nullptr : records.front();
}

RecordPtr Lookup::require(const std::string& typed, const std::string& full) {
  std::string why;
  RecordPtr record;
  if (!typed.empty()) {
    // "name/" asks for the directory that it is or leads to.
    const bool through = namesDirectory(typed);
    record = find(through ? join(full, ".") : full, through, why);
    if (record) return record;
    if (why.empty() || through) why = whyMissing(full);
  }
  if (why.find('"') == 0) {  // the Filer's own line
    session_.reportError(tidied(why));
    return nullptr;
  }
  session_.reportError("\"" + typed + "\", " + (why.empty() ? "No such file or directory" : why));
  return nullptr;
}

/// Which part of the way is at fault; empty: an item that is not there.
std::string Lookup::whyMissing(const std::string& full) {
  std::string why;
  for (std::string path = full; path != "/"; path = parentOf(path)) {
    const RecordPtr record = find(path, false, why);
    if (!why.empty()) return why;
    if (!record) continue;
    const bool link = record->type == HOQFileType::kLink;
    if (record->type != HOQFileType::kDirectory && !link) return "Not a directory";
    (void)find(join(path, "."), true, why);  // what keeps us from searching it, if anything does
    return why;
  }
  return "";
}

}  // namespace HOQ::cli
