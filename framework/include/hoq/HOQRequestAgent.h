#pragma once

#include <string>

#include <hoq/HOQEID.h>
#include <hoq/HOQExport.h>
#include <hoq/HOQFunctionalFactory.h>
#include <hoq/HOQRequestModificator.h>

namespace HOQ {

/// The request frame of a stand-in for an object in another environment.
class HOQ_EXPORT HOQRequestAgent : public HOQRequestModificator {
 public:
  HOQRequestAgent(const HOQEID& eid, HOQAccessProviderPtr access);
  ~HOQRequestAgent() override;

  const HOQEID& getEID() const { return eid_; }
  const HOQAccessProviderPtr& getAccess() const { return access_; }

  /// Which of the other side's objects is meant, where it has several; empty: the default.
  void setTarget(const std::string& target) { target_ = target; }
  const std::string& getTarget() const { return target_; }

 private:
  const HOQEID eid_;
  const HOQAccessProviderPtr access_;
  std::string target_;
};

}  // namespace HOQ
