#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <utility>

#include "support/HookedRoutine.h"

namespace HOQ::test {

/// One failure, or one rule of failures, of a routine's calls. Shared by the routines of a request.
class FaultPlan {
 public:
  /// The `n`-th call, counted from 1, fails with `error`: of all calls, or of those of one kind.
  FaultPlan(int n, int error, std::optional<Call> kind = std::nullopt)
      : error_(error), kind_(kind), n_(n) {}

  /// Every call of the kind `kind` on a path that ends in `pathEnd` fails with `error`.
  FaultPlan(std::string pathEnd, int error, Call kind)
      : error_(error), kind_(kind), pathEnd_(std::move(pathEnd)) {}

  /// The error number for this call, or 0.
  int strikes(Call call, const std::string& path);

  bool struck() const { return struckAt_ != 0; }
  Call call() const { return struckCall_; }  // what struck() speaks of
  const std::string& path() const { return struckPath_; }

  friend std::ostream& operator<<(std::ostream& out, const FaultPlan& plan);

 private:
  const int error_;
  const std::optional<Call> kind_;
  const int n_ = 0;  // 0: by path
  const std::string pathEnd_;
  int seen_ = 0;
  int struckAt_ = 0;
  Call struckCall_ = Call::Stat;
  std::string struckPath_;
};

/// The Linux routine plus the failures of a plan.
class FaultyRoutine : public HookedRoutine {
 public:
  /// `plan` is not owned and must outlive this object.
  FaultyRoutine(const std::string& initialPath, FaultPlan& plan)
      : HookedRoutine(initialPath), plan_(plan) {}

 protected:
  int before(Call call) override { return plan_.strikes(call, path); }

 private:
  FaultPlan& plan_;
};

/// The Linux routine, with something done just before each call: the file system changes under
/// the walk, always at the same moment.
class InterferingRoutine : public HookedRoutine {
 public:
  using Deed = std::function<void(Call, const std::string& path)>;

  InterferingRoutine(const std::string& initialPath, Deed deed)
      : HookedRoutine(initialPath), deed_(std::move(deed)) {}

 protected:
  int before(Call call) override {
    deed_(call, path);
    return 0;
  }

 private:
  Deed deed_;
};

}  // namespace HOQ::test
