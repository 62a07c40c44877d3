#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "config/Configuration.h"

namespace HOQ::agent {

/// Who may be whom: what a configuration says of users and folders, judged against the machine.
/// Texts say why something is refused, empty ones that it is good.
class ClientRules {
 public:
  /// A `run_as` that stands for the user called as the client's certificate is.
  static constexpr char kOwnName[] = "@name";

  /// Must outlive this.
  explicit ClientRules(const Surroundings& surroundings) : surroundings_(surroundings) {}

  /// Takes the key `user`; without it root's front is "hoq", and others stay who they are.
  std::string setFront(const std::optional<std::string>& user);

  /// Whom the front becomes; empty: it stays who it is.
  const std::string& front() const { return front_; }

  /// Of a user that requests are to run as.
  std::string badRunAs(const std::string& user) const;

  /// The same where kOwnName brought the name: root must be written out.
  std::string badOwnName(const std::string& name) const;

  /// Of a peer on a UNIX socket; nothing is good.
  std::string badUser(std::optional<uid_t> uid) const;

  /// Why an entry needs a user that requests run as.
  std::string whyNeeded() const;

  /// Of an entry that names roots.
  std::string badRoots() const;

 private:
  std::optional<uid_t> uidOf(const std::string& user) const;

  const Surroundings& surroundings_;
  std::string front_;
  std::optional<uid_t> frontUid_;
};

/// The value of a umask's octal digits, three or four with the first a 0.
std::optional<mode_t> umaskOf(const std::string& text);

/// Why requests cannot be confined to the folder `text`: it must be absolute, without ".", ".." or
/// doubled separators, not "/", and no part of what the system shows of itself.
std::string badRoot(const std::string& text);

}  // namespace HOQ::agent
