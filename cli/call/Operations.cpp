#include "call/Operations.h"

#include <fmt/format.h>
#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQFileUploadData.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <iterator>
#include <memory>

#include "ExitStatus.h"
#include "call/LocalFileUpload.h"

namespace HOQ::cli {
namespace {

HOQFilerOptions options(const Request& request) {
  return HOQFilerOptions(static_cast<int>(request.number("options", 0)));
}

unsigned fields(const Request& request) {
  return static_cast<unsigned>(request.number("fields", 0));
}

void list(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code = filer.list(request.texts("paths"), &answer.records, options(request),
                           request.filters("filters"), fields(request));
}

void stat(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code =
      filer.stat(request.texts("paths"), &answer.records, options(request), fields(request));
}

void search(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code = filer.search(request.texts("paths"), request.text("pattern"), &answer.records,
                             request.number("limit", 0), options(request));
}

void remove(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code = filer.remove(request.texts("paths"), options(request));
}

/// Null without a "mode".
std::unique_ptr<HOQSecurityAttributes> attributes(const Request& request) {
  if (!request.has("mode")) return nullptr;
  return std::make_unique<HOQSecurityAttributes>(static_cast<int>(request.number("mode", 0)));
}

void mkdir(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code = filer.mkdir(request.texts("paths"), attributes(request).get(), options(request));
}

void chmod(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code = filer.chmod(request.texts("paths"), static_cast<int>(request.number("mode", 0)),
                            options(request));
}

/// The owner is told by names or by ids, whole, and never by both.
void checkOwner(const Request& request) {
  const bool byIds = request.has("uid") || request.has("gid");
  const auto refuse = [](const char* what, const char* key, const char* how) {
    throw CommandError(kExitUsage, fmt::format("{} \"{}\" {}", what, key, how));
  };
  for (const char* key : {"user", "group"}) {
    if (byIds && request.has(key)) refuse("unknown key", key, "beside \"uid\" and \"gid\"");
    if (!byIds && !request.has(key)) refuse("the key", key, "is missing (or \"uid\" and \"gid\")");
  }
  for (const char* key : {"uid", "gid"})
    if (byIds && !request.has(key)) refuse("the key", key, "is missing");
}

void chown(HOQFiler& filer, const Request& request, Answer& answer) {
  const auto id = [&request](const char* key) {
    return static_cast<unsigned>(request.number(key, HOQUserCredentials::kNone));
  };
  answer.code = request.has("user")
                    ? filer.chown(request.texts("paths"), request.text("user"),
                                  request.text("group"), options(request))
                    : filer.chown(request.texts("paths"), id("uid"), id("gid"), options(request));
}

void copy(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code = filer.copy(request.texts("paths"), request.text("destination"), options(request));
}

void copyToNode(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code =
      filer.copy(request.texts("paths"), HOQConnectionInfo{request.text("node")},
                 request.text("destination"), options(request), attributes(request).get());
}

void move(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code = filer.move(request.texts("paths"), request.text("destination"), options(request));
}

void link(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code = filer.link(request.text("target"), request.text("name"), options(request));
}

void readlink(HOQFiler& filer, const Request& request, Answer& answer) {
  answer.code = filer.readlink(request.text("path"), answer.target);
}

constexpr int kUploadMode = 0777;

boost::shared_ptr<HOQFileUploadInfo> makeUpload(const TransferItem& item) {
  if (item.isFromFile)
    return boost::make_shared<LocalFileUpload>(item.path, item.size, item.offset, item.file);
  const auto upload = boost::make_shared<HOQFileUploadData>(item.path, item.size, item.offset);
  upload->contents = item.data;
  return upload;
}

void upload(HOQFiler& filer, const Request& request, Answer& answer) {
  HOQFiler::UploadList list;
  for (const TransferItem& item : request.items("items")) list.push_back(makeUpload(item));
  const HOQSecurityAttributes attributes(static_cast<int>(request.number("mode", kUploadMode)));
  answer.code =
      filer.upload(list, options(request), attributes, HOQFiler::HandlerDelegate(), nullptr);
}

void download(HOQFiler& filer, const Request& request, Answer& answer) {
  for (const TransferItem& item : request.items("items"))
    answer.items.push_back(
        boost::make_shared<HOQFileDownloadData>(item.path, item.size, item.offset));
  const HOQFiler::DownloadList list(answer.items.begin(), answer.items.end());
  answer.code = filer.download(list, options(request), HOQSecurityAttributes(0),
                               HOQFiler::HandlerDelegate(), nullptr);
}

constexpr bool kRequired = true;
constexpr bool kOptional = false;

const Key kPaths = {"paths", KeyType::kStrings, kRequired, "what to work on"};
const Key kDestination = {"destination", KeyType::kString, kRequired, "where it goes"};
const Key kFields = {"fields", KeyType::kUint32, kOptional, "bits of the fields wanted"};

const char* typeName(KeyType type) {
  switch (type) {
    case KeyType::kString:
      return "string";
    case KeyType::kStrings:
      return "strings";
    case KeyType::kInt32:
    case KeyType::kUint32:
    case KeyType::kInt64:
      return "integer";
    case KeyType::kFilters:
      return "filters";
    case KeyType::kCredentials:
      return "object";
    case KeyType::kUploadItems:
    case KeyType::kDownloadItems:
      return "objects";
  }
  return "";
}

void describe(std::string& out, const std::vector<Key>& keys) {
  for (const Key& key : keys)
    fmt::format_to(std::back_inserter(out), "      {:<12} {:<8} {}{}\n", key.name,
                   typeName(key.type), key.help, key.required ? " (required)" : "");
}

}  // namespace

const std::vector<Key>& commonKeys() {
  static const std::vector<Key> keys = {
      {"cwd", KeyType::kString, kOptional, "where relative paths start"},
      {"options", KeyType::kInt32, kOptional, "the flag word"},
      {"credentials", KeyType::kCredentials, kOptional, "name, uid, gid, groups, gids, umask"},
  };
  return keys;
}

const std::vector<Operation>& operations() {
  static const std::vector<Operation> rows = {
      {"list",
       "read",
       "the entries of directories",
       {kPaths,
        kFields,
        {"filters", KeyType::kFilters, kOptional, "records that catch what is not wanted"}},
       true,
       list},
      {"stat", "read", "information of named items", {kPaths, kFields}, true, stat},
      {"search",
       "read",
       "a search by name; the local node does not provide it",
       {kPaths,
        {"pattern", KeyType::kString, kRequired, "the name looked for"},
        {"limit", KeyType::kInt64, kOptional, "how many at most"}},
       false,
       search},
      {"remove", "change", "removes items", {kPaths}, false, remove},
      {"mkdir",
       "change",
       "makes directories",
       {kPaths, {"mode", KeyType::kInt32, kOptional, "mode word of the new directories"}},
       false,
       mkdir},
      {"chmod",
       "change",
       "changes permissions",
       {kPaths, {"mode", KeyType::kInt32, kRequired, "the new permission bits"}},
       false,
       chmod},
      {"chown",
       "change",
       "changes owners",
       {kPaths,
        {"user", KeyType::kString, kOptional, "name of the new owner; needs group"},
        {"group", KeyType::kString, kOptional, "name of the new group; \"\": as it is"},
        {"uid", KeyType::kUint32, kOptional, "instead of user and group; needs gid"},
        {"gid", KeyType::kUint32, kOptional, "4294967295 in either: as it is"}},
       false,
       chown,
       false,
       checkOwner},
      {"copy", "change", "copies items and trees", {kPaths, kDestination}, false, copy},
      {"copyToNode",
       "change",
       "copies items and trees to another node",
       {kPaths,
        {"node", KeyType::kString, kRequired, "host:port, unix:/path, or local: for this one"},
        kDestination,
        {"mode", KeyType::kInt32, kOptional, "mode word of the new items; absent: the sources'"}},
       false,
       copyToNode},
      {"move", "change", "moves items and trees", {kPaths, kDestination}, false, move},
      {"link",
       "change",
       "makes a link, a symbolic one with the bit 64",
       {{"target", KeyType::kString, kRequired, "what the link leads to"},
        {"name", KeyType::kString, kRequired, "the link"}},
       false,
       link},
      {"readlink",
       "read",
       "the text of a symbolic link",
       {{"path", KeyType::kString, kRequired, "the link"}},
       false,
       readlink,
       true},
      {"upload",
       "change",
       "writes files, or pieces of them",
       {{"items", KeyType::kUploadItems, kRequired,
         "each: path, size, offset, and data (base64) or file (of this computer)"},
        {"mode", KeyType::kInt32, kOptional, "of new files; 511 where absent"}},
       false,
       upload},
      {"download",
       "read",
       "reads files, or pieces of up to 512 KiB",
       {{"items", KeyType::kDownloadItems, kRequired, "each: path, size (0: the rest), offset"}},
       false,
       download,
       false,
       nullptr,
       true},
  };
  return rows;
}

std::vector<Key> Operation::allKeys() const {
  std::vector<Key> all = keys;
  all.insert(all.end(), commonKeys().begin(), commonKeys().end());
  return all;
}

const Operation* findOperation(const std::string& name) {
  for (const Operation& row : operations())
    if (name == row.name) return &row;
  return nullptr;
}

std::string describeOperations() {
  std::string out = "Operations and the keys of their requests:\n";
  for (const Operation& row : operations()) {
    fmt::format_to(std::back_inserter(out), "  {:<10} {} (right: {})\n", row.name, row.help,
                   row.right);
    describe(out, row.keys);
  }
  out += "  every operation also takes\n";
  describe(out, commonKeys());
  return out;
}

}  // namespace HOQ::cli
