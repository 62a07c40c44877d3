#pragma once

#include <functional>
#include <utility>

namespace HOQ {

/// A call of one argument that its maker leaves to somebody else; may be empty.
template <class Result, class Argument>
class HOQDelegate1 {
 public:
  HOQDelegate1() = default;
  explicit HOQDelegate1(std::function<Result(Argument)> call) : call_(std::move(call)) {}

  bool empty() const { return !call_; }

  /// Not to be called when empty.
  Result operator()(Argument argument) const { return call_(std::move(argument)); }

 private:
  std::function<Result(Argument)> call_;
};

}  // namespace HOQ
