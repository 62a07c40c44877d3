#pragma once

#include <string>
#include <utility>

namespace HOQ {

/// An error record: 0 and an empty text mean success.
struct HOQRequestErrorData {
  HOQRequestErrorData(int errorCode, std::string text)
      : code(errorCode), message(std::move(text)) {}

  int code;
  std::string message;
};

}  // namespace HOQ
