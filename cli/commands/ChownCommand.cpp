#include "commands/ChownCommand.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQUserMLocal.h>

#include "commands/ChangeWalk.h"
#include "commands/EachPath.h"

namespace HOQ::cli {
namespace {

constexpr std::uint32_t kUnchanged = 0xFFFFFFFF;

/// The owner of a request: names where the Filer is to find them, else ids.
struct Owner {
  bool byNames = false;
  std::string user, group;
  std::uint32_t uid = kUnchanged, gid = kUnchanged;
};

template <class Entry>
bool firstId(int result, const std::vector<Entry>& found, std::uint32_t& id) {
  if (result == 0 && !found.empty()) id = found.front().id;
  return result == 0 && !found.empty();
}

bool findUser(const std::string& name, std::uint32_t& id) {
  std::vector<HOQUser> found;
  return firstId(HOQUserMLocal(nullptr).getUser(found, {name}), found, id);
}

bool findGroup(const std::string& name, std::uint32_t& id) {
  std::vector<HOQGroup> found;
  return firstId(HOQUserMLocal(nullptr).getGroup(found, {name}), found, id);
}

using Find = bool (*)(const std::string& name, std::uint32_t& id);

/// A number that is nobody's name is an id.
bool isNameOfNumber(const OwnerPart& part, Find find) {
  std::uint32_t id = 0;
  return part.kind == OwnerPart::Kind::kName && parseId(part.name) && !find(part.name, id);
}

std::uint32_t idOf(const OwnerPart& part, Find find, const char* what) {
  std::uint32_t id = kUnchanged;
  if (part.kind == OwnerPart::Kind::kId) return part.id;
  if (part.kind == OwnerPart::Kind::kUnchanged || find(part.name, id)) return id;
  throw CommandError(kExitFailed, std::string("Cannot find ") + what + " " + part.name);
}

std::uint32_t loginGroupOf(const std::string& user) {
  std::vector<char> space(16 * 1024);
  struct passwd entry;
  struct passwd* found = nullptr;
  int error = 0;
  while ((error = ::getpwnam_r(user.c_str(), &entry, space.data(), space.size(), &found)) == ERANGE)
    space.resize(space.size() * 2);
  if (found != nullptr) return entry.pw_gid;
  throw CommandError(kExitFailed, "Cannot find user " + user +
                                      (error != 0 ? std::string(": ") + std::strerror(error) : ""));
}

OwnerPart withNumberAsId(OwnerPart part, Find find) {
  if (isNameOfNumber(part, find)) part = {OwnerPart::Kind::kId, "", *parseId(part.name)};
  return part;
}

Owner ownerOf(const OwnerText& text) {
  using Kind = OwnerPart::Kind;
  const OwnerPart user = withNumberAsId(text.user, findUser);
  const OwnerPart group = withNumberAsId(text.group, findGroup);
  Owner owner;
  owner.byNames = user.kind == Kind::kName && !text.loginGroup && group.kind != Kind::kId;
  owner.user = user.name;
  owner.group = group.name;
  if (owner.byNames) return owner;
  owner.uid = idOf(user, findUser, "user");
  owner.gid = idOf(group, findGroup, "group");
  if (text.loginGroup && user.kind == Kind::kName) owner.gid = loginGroupOf(user.name);
  return owner;
}

}  // namespace

std::string ChownCommand::notes() const {
  return "OWNER is USER, USER:GROUP, :GROUP (the group alone) or USER: (with USER's login group).\n"
         "USER and GROUP are names, ids with a \"+\" before them (+1000:+1000), or numbers, which\n"
         "are ids where nobody has them as a name.\n"
         "\n"
         "A PATH that is a link stands for what it leads to, but -R enters it only with -L or a\n"
         "\"/\" behind it. Links below are left alone without -L. Set-id bits of files stay.\n"
         "\nExamples:\n"
         "  $ hoq chown \"$(id -un)\" notes.txt\n"
         "  $ hoq chown -R \"+$(id -u):+$(id -g)\" src\n"
         "  $ hoq chown -w \":$(id -gn)\" 'src/*.c'\n";
}

std::vector<Option> ChownCommand::options() {
  return {
      {"-R,--recursive", nullptr, "change everything below directories as well", &recursive_},
      {"-L,--dereference", nullptr, "enter directories that links lead to", &followLinks_},
      {"-w,--wildcards", nullptr, "PATHs are patterns of *, ? and [ ]", &wildcards_},
  };
}

ExitStatus ChownCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() < 2)
    throw CommandError(kExitUsage, "chown needs an OWNER and a PATH (see hoq chown --help)");
  const Owner owner = ownerOf(parseOwner(arguments.front()));
  ExitStatus status = kExitDone;
  const auto items =
      namedItems(session, {arguments.begin() + 1, arguments.end()}, wildcards_, status);
  if (status == kExitRefused) return status;
  const auto change = [&owner](HOQFiler& filer, const ChangeWalk::Paths& paths,
                               const HOQFilerOptions& options) {
    return owner.byNames ? filer.chown(paths, owner.user, owner.group, options)
                         : filer.chown(paths, owner.uid, owner.gid, options);
  };
  if (!recursive_)
    return worse(status, changeEach(session, items, [&](HOQFiler& filer, const std::string& path) {
                   return change(filer, {path}, HOQFilerOptions(0));
                 }));
  ChangeWalk walk(
      session, [](const HOQFileType&) { return 0U; }, ChangeWalk::Change::kSame,
      [&](HOQFiler& filer, const ChangeWalk::Paths& paths, unsigned,
          const HOQFilerOptions& options) { return change(filer, paths, options); },
      followLinks_);
  return worse(status, walk.run(items, true));
}

}  // namespace HOQ::cli
