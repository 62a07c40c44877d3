#include "contents/NodeSide.h"

#include <algorithm>
#include <boost/smart_ptr/make_shared.hpp>
#include <cerrno>
#include <cstring>
#include <utility>

#include <hoq/HOQFileDownloadInfo.h>
#include <hoq/HOQFileUploadInfo.h>
#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQResultCodes.h>

#include "ExitStatus.h"
#include "PathText.h"
#include "listing/Selection.h"

namespace HOQ::cli {
namespace {

constexpr std::uint32_t kOwnerWorks = 0700;
constexpr std::uint32_t kBits = 0777;
constexpr unsigned kFields = HOQFileType::kType | HOQFileType::kPermissions | HOQFileType::kSize |
                             HOQFileType::kMtime | HOQFileType::kName;
constexpr int kPlaceholders = 2;  // the Filer's "." and ".." without contents come first

/// A piece of memory that goes with a request.
class UploadPiece : public HOQFileUploadInfo {
 public:
  explicit UploadPiece(const WritePiece& piece)
      : HOQFileUploadInfo(piece.path, piece.size, static_cast<std::int64_t>(piece.offset)),
        data_(piece.data) {}

  int start() override {
    begun = true;
    left_ = total_;
    return 0;
  }
  int data(std::size_t count, const char*& block) override {
    if (count > left_) return -1;
    block = data_ + (total_ - left_);
    left_ -= count;
    return 0;
  }

  bool begun = false;

 private:
  const char* const data_;
  const std::uint64_t total_ = size;
  std::uint64_t left_ = total_;
};

/// A piece of memory that an answer goes to.
class DownloadPiece : public HOQFileDownloadInfo {
 public:
  explicit DownloadPiece(ReadPiece& piece)
      : HOQFileDownloadInfo(piece.path, piece.wanted, static_cast<std::int64_t>(piece.offset)),
        piece_(piece) {}

  int append(const char* bytes, std::size_t count) override {
    if (count > piece_.wanted - piece_.got) return -1;  // a node that sends more than was asked
    std::memcpy(piece_.buffer + piece_.got, bytes, count);
    piece_.got += count;
    return 0;
  }

  /// The request says that it is done with it.
  bool done() const { return static_cast<std::uint64_t>(offset) == piece_.offset + piece_.wanted; }

 private:
  ReadPiece& piece_;
};

bool endsWithCode(const std::string& text, int code) {
  const std::string suffix = "[" + std::to_string(code) + "]";
  return text.size() >= suffix.size() &&
         text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

/// Whether an examination failed because there is no such item.
bool saysMissing(const std::string& text) {
  return endsWithCode(text, ENOENT) || endsWithCode(text, ENOTDIR) ||
         text.find("stat non directory item") != std::string::npos;
}

Attributes attributesOf(const HOQFileType& record) {
  Attributes attributes;
  attributes.kind = record.type;
  attributes.size = attributes.isFile() ? record.size : 0;
  attributes.mode = record.permissions & (kBits | 01000);  // no set-id bits: owners are not kept
  attributes.mtime = record.mtime;
  return attributes;
}

}  // namespace

NodeSide::NodeSide(Node& node, const Interruption& interruption, bool followLinks)
    : node_(node),
      interruption_(interruption),
      followLinks_(followLinks),
      stay_(node.enter()),
      news_(new News(items_)) {
  news_->onProgress = [](const HOQRequestProgressData&) {};  // known better here
}

int NodeSide::ask(const std::string& directory, const Request& request) {
  interruption_.check();
  const int code = request(*node_.filer(directory, news_));
  errors_ = news_->takeErrors();
  if (code == kAccessRefused)
    throw CommandError(kExitRefused, "\"" + directory + "\", access refused");
  // Nobody knows then which of the request's items have been done.
  if (code != 0 && node_.lost()) throw CommandError(kExitNoNode, firstError(directory));
  return code;
}

std::string NodeSide::firstError(const std::string& path) const {
  return errors_.empty() ? "\"" + path + "\", the node gave no reason" : errors_.front();
}

void NodeSide::require(const std::string& path, const Request& request) {
  if (ask(parentOf(path), request) != 0) throw SideError(firstError(path));
}

/// In the directory's "/.", which the system resolves where it is a link.
Entries NodeSide::list(const std::string& directory) {
  HOQFiler::FileTypes records;
  const HOQFilerOptions options(followLinks_ ? HOQFilerOptions::kFollowLinks : 0);
  const int code = ask(join(directory, "."), [&](HOQFiler& filer) {
    return filer.list({""}, &records, options, nullptr, kFields);
  });
  if (records.size() <= kPlaceholders && code != 0) throw SideError(firstError(directory));
  Entries entries;
  for (std::size_t i = kPlaceholders; i < records.size(); ++i)
    if (!isDots(records[i]->name))
      entries.found.push_back({records[i]->name, attributesOf(*records[i])});
  entries.errors = std::move(errors_);
  return entries;
}

std::map<std::string, Attributes> NodeSide::examine(const std::string& directory,
                                                    const std::vector<std::string>& names,
                                                    bool follow) {
  std::map<std::string, Attributes> found;
  HOQFiler::FileTypes records;
  const HOQFilerOptions options(follow ? HOQFilerOptions::kFollowLinks : 0);
  const bool root = names == std::vector<std::string>{"."};
  (void)ask(root ? directory : join(directory, "."), [&](HOQFiler& filer) {
    return filer.stat(root ? std::vector<std::string>{""} : names, &records, options, kFields);
  });
  for (const std::string& text : errors_)
    if (!saysMissing(text)) throw SideError(text);
  for (const auto& record : records)
    found.emplace(root ? "." : record->name, attributesOf(*record));
  return found;
}

/// A request ends at the first item that fails: what stands behind it is asked for anew.
void NodeSide::read(std::vector<ReadPiece>& pieces) {
  for (std::size_t begin = 0; begin < pieces.size();) {
    HOQFiler::DownloadList items;
    for (std::size_t i = begin; i < pieces.size(); ++i)
      items.push_back(boost::make_shared<DownloadPiece>(pieces[i]));
    const int code = ask("", [&](HOQFiler& filer) {
      return filer.download(items, HOQFilerOptions(0), HOQSecurityAttributes(0),
                            HOQFiler::HandlerDelegate(), nullptr);
    });
    if (code == 0) return;
    std::size_t failed = 0;
    while (failed + 1 < items.size() && static_cast<DownloadPiece&>(*items[failed]).done())
      ++failed;
    pieces[begin + failed].error = firstError(pieces[begin + failed].path);
    begin += failed + 1;
  }
}

void NodeSide::write(std::vector<WritePiece>& pieces) {
  const auto like = [](const WritePiece& a, const WritePiece& b) {
    return a.mode == b.mode && a.replace == b.replace;
  };
  for (std::size_t begin = 0; begin < pieces.size();) {
    HOQFiler::UploadList items;
    std::vector<UploadPiece*> uploads;  // the list's
    for (std::size_t i = begin; i < pieces.size() && like(pieces[i], pieces[begin]); ++i) {
      const auto upload = boost::make_shared<UploadPiece>(pieces[i]);
      uploads.push_back(upload.get());
      items.push_back(upload);
    }
    const HOQFilerOptions options(pieces[begin].replace ? HOQFilerOptions::kOverwrite : 0);
    const HOQSecurityAttributes attributes(static_cast<int>(pieces[begin].mode));
    const int code = ask("", [&](HOQFiler& filer) {
      return filer.upload(items, options, attributes, HOQFiler::HandlerDelegate(), nullptr);
    });
    if (code == 0) {
      begin += items.size();
      continue;
    }
    std::size_t failed = 0;
    while (failed + 1 < uploads.size() && uploads[failed + 1]->begun) ++failed;
    pieces[begin + failed].error = firstError(pieces[begin + failed].path);
    begin += failed + 1;
  }
}

/// The node's umask can only be seen from what it makes.
void NodeSide::learnMadeMode(const std::string& directory) {
  Attributes made;
  if (!examineItem(*this, directory, false, made))
    throw SideError("\"" + directory + "\" is gone already");
  madeMode_ = made.mode & kBits;
  learned_ = true;
}

std::int64_t NodeSide::makeDirectory(const std::string& path, std::uint32_t mode) {
  const HOQSecurityAttributes attributes(static_cast<int>(kOwnerWorks | mode));
  require(path,
          [&](HOQFiler& filer) { return filer.mkdir({path}, &attributes, HOQFilerOptions(0)); });
  if (!learned_) learnMadeMode(path);
  const std::uint32_t wanted = reduced(mode);
  return wanted == madeMode_ ? kModeIsRight : wanted;
}

bool NodeSide::makePrivate(const std::string& outer, const std::string& inner) {
  const HOQSecurityAttributes attributes(kOwnerWorks);
  const int code = ask(parentOf(outer), [&](HOQFiler& filer) {
    return filer.mkdir({outer, inner}, &attributes, HOQFilerOptions(0));
  });
  if (code != 0) {
    const std::string why = firstError(outer);
    Attributes there;
    if (examineItem(*this, outer, false, there) && !errors_.empty()) return false;
    if (there.kind != 0) return false;
    throw SideError(why);
  }
  learnMadeMode(inner);
  chmod({outer}, kOwnerWorks);
  return true;
}

void NodeSide::chmod(const std::vector<std::string>& paths, std::uint32_t mode) {
  require(paths.front(), [&](HOQFiler& filer) {
    return filer.chmod(paths, static_cast<int>(mode), HOQFilerOptions(0));
  });
}

void NodeSide::moveInto(const std::vector<std::string>& paths, const std::string& directory,
                        bool replace) {
  const HOQFilerOptions options(HOQFilerOptions::kRecursive |
                                (replace ? HOQFilerOptions::kOverwrite : 0));
  require(directory, [&](HOQFiler& filer) { return filer.move(paths, directory, options); });
}

void NodeSide::renameDirectory(const std::string& from, const std::string& to) {
  require(from, [&](HOQFiler& filer) {
    return filer.move({from}, to, HOQFilerOptions(HOQFilerOptions::kRecursive));
  });
  if (!learned_) learnMadeMode(to);
}

void NodeSide::remove(const std::string& path, bool tree) {
  const HOQFilerOptions options(tree ? HOQFilerOptions::kRecursive : 0);
  const auto request = [&](HOQFiler& filer) { return filer.remove({path}, options); };
  if (ask(parentOf(path), request) == 0) return;
  const std::string why = firstError(path);
  if (tree) {
    // Directories that were to be read only keep what is in them.
    (void)ask(parentOf(path), [&](HOQFiler& filer) {
      return filer.chmod({path}, static_cast<int>(kOwnerWorks), options);
    });
    if (ask(parentOf(path), request) == 0) return;
  }
  throw SideError(why);
}

}  // namespace HOQ::cli
