#pragma once

#include <string>

namespace HOQ::agent {

/// Tells the service manager that started this program how it is, by datagrams to the socket that
/// $NOTIFY_SOCKET names; nothing where it names none.
class ServiceManager {
 public:
  /// Reads the variable and takes it away, so that no child speaks for us. Before there are
  /// threads.
  static ServiceManager fromEnvironment();

  void ready(const std::string& status) const;
  void reloading() const;
  void stopping() const;

 private:
  void send(const std::string& text) const;

  std::string socket_;
};

}  // namespace HOQ::agent
