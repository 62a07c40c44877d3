#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "control/Message.h"
#include "tls/Result.h"

namespace HOQ::agent {

/// One line of the audit, an object of JSON without a line break.
std::string auditLine(std::chrono::system_clock::time_point time, const std::string& client,
                      const Audit& audit);

/// Where audit lines go: a file that is appended to, or the log. One thread.
class AuditLog {
 public:
  /// `file` empty: the log. A new file can be read by its owner and group alone. kUsage, naming
  /// the file.
  static tls::Result<std::unique_ptr<AuditLog>> open(const std::string& file);

  /// False when the line could not be written; the log has it then, with the reason.
  bool write(const std::string& line);

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }  // nothing is buffered
  };

  std::string name_;
  std::unique_ptr<std::FILE, CloseFile> file_;  // empty: the log
};

}  // namespace HOQ::agent
