#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "support/HookedRoutine.h"

namespace HOQ::test {

/// What routines were asked to do.
struct CallLog {
  struct Entry {
    Call call;
    std::string path;
  };

  long count(Call call, const std::string& path) const {
    return std::count_if(entries.begin(), entries.end(), [&](const Entry& entry) {
      return entry.call == call && entry.path == path;
    });
  }
  long count(Call call) const {
    return std::count_if(entries.begin(), entries.end(),
                         [call](const Entry& entry) { return entry.call == call; });
  }

  std::vector<Entry> entries;
};

/// The Linux routine, writing down its calls.
class LoggingRoutine : public HookedRoutine {
 public:
  /// `log` is not owned and must outlive this object.
  LoggingRoutine(const std::string& initialPath, CallLog& log)
      : HookedRoutine(initialPath), log_(log) {}

 protected:
  int before(Call call) override {
    log_.entries.push_back({call, path});
    return 0;
  }

 private:
  CallLog& log_;
};

}  // namespace HOQ::test
