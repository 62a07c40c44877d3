#include "config/ClientRules.h"

#include <algorithm>

namespace HOQ::agent {
namespace {

constexpr char kFrontUser[] = "hoq";

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

std::string noSuchUser(const std::string& user) { return "there is no user " + quoted(user); }

}  // namespace

std::optional<uid_t> ClientRules::uidOf(const std::string& user) const {
  return surroundings_.uidOf ? surroundings_.uidOf(user) : std::nullopt;
}

std::string ClientRules::setFront(const std::optional<std::string>& user) {
  if (!surroundings_.isRoot) {
    if (!user || *user == surroundings_.user) return "";
    return quoted(*user) + " is not the daemon's own user, " + quoted(surroundings_.user) +
           ", and only a daemon that is started as root takes another";
  }
  front_ = user.value_or(kFrontUser);
  frontUid_ = uidOf(front_);
  if (!surroundings_.uidOf) return "";
  if (!frontUid_) {
    return noSuchUser(front_) + ", whom the daemon is to become: make the account, or name another";
  }
  return *frontUid_ == 0 ? "must not be root" : "";
}

std::string ClientRules::badRunAs(const std::string& user) const {
  if (!surroundings_.isRoot) {
    if (user == surroundings_.user) return "";
    return quoted(user) + " is not the daemon's own user, " + quoted(surroundings_.user);
  }
  const std::optional<uid_t> uid = uidOf(user);
  if (surroundings_.uidOf && !uid) return noSuchUser(user);
  if (user == front_ || (uid && uid == frontUid_)) {
    return quoted(user) + " is the daemon's own user, which holds its key";
  }
  return "";
}

std::string ClientRules::badOwnName(const std::string& name) const {
  if (!surroundings_.isRoot || uidOf(name) != uid_t{0}) return "";
  return quoted(kOwnName) + " would be root here, who must be named";
}

std::string ClientRules::badUser(std::optional<uid_t> uid) const {
  if (!surroundings_.isRoot || !uid || uid != frontUid_) return "";
  return "this is " + quoted(front_) + ", the daemon's own user, which holds its key";
}

std::string ClientRules::whyNeeded() const {
  if (!surroundings_.isRoot) return "";
  return "missing, and there is no default_run_as: name the user that requests run as";
}

std::string ClientRules::badRoots() const {
  if (!surroundings_.isRoot) return "only a daemon that is started as root can confine requests";
  const std::string why = surroundings_.whyNoRoots ? surroundings_.whyNoRoots() : "";
  return why.empty() ? "" : "this system lets the daemon make no mount namespaces: " + why;
}

std::optional<mode_t> umaskOf(const std::string& text) {
  const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
  const bool good = std::all_of(text.begin(), text.end(), isOctal) &&
                    (text.size() == 3 || (text.size() == 4 && text.front() == '0'));
  if (!good) return std::nullopt;
  return static_cast<mode_t>(std::stoul(text, nullptr, 8));
}

std::string badRoot(const std::string& text) {
  if (text.front() != '/') return quoted(text) + " is not absolute";
  if (text == "/") return "\"/\" confines nothing";
  const std::string parts = text + "/";
  for (const char* odd : {"//", "/./", "/../"}) {
    if (parts.find(odd) != std::string::npos) {
      return quoted(text) + " must be written without empty parts, \".\" and \"..\"";
    }
  }
  for (const std::string own : {"/proc/", "/sys/", "/dev/"}) {
    if (parts.compare(0, own.size(), own) == 0) {
      return quoted(text) + " would show more than files";
    }
  }
  return "";
}

}  // namespace HOQ::agent
