#include "support/FaultyRoutine.h"

#include <cstring>
#include <ostream>

namespace HOQ::test {
namespace {

bool endsIn(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

int FaultPlan::strikes(Call call, const std::string& path) {
  if (kind_ && call != *kind_) return 0;
  if (n_ == 0 && !endsIn(path, pathEnd_)) return 0;
  ++seen_;
  if (n_ != 0 && seen_ != n_) return 0;
  struckAt_ = seen_;
  struckCall_ = call;
  struckPath_ = path;
  return error_;
}

std::ostream& operator<<(std::ostream& out, const FaultPlan& plan) {
  if (!plan.struck()) return out << "a fault that did not strike";
  return out << "call " << plan.struckAt_ << ": " << plan.struckCall_ << " of " << plan.struckPath_
             << ", " << std::strerror(plan.error_);
}

}  // namespace HOQ::test
