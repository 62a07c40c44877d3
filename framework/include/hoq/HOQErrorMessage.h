#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include <hoq/HOQExport.h>

namespace HOQ {

/// An argument of a message: a text or a whole number.
class HOQMessageArgument {
 public:
  HOQMessageArgument(std::string_view text) : text_(text), isText_(true) {}
  HOQMessageArgument(const char* text) : HOQMessageArgument(std::string_view(text)) {}
  HOQMessageArgument(const std::string& text) : HOQMessageArgument(std::string_view(text)) {}
  HOQMessageArgument(int number) : number_(number) {}

  void appendTo(std::string& out) const {
    if (isText_)
      out.append(text_);
    else
      out.append(std::to_string(number_));
  }

 private:
  std::string_view text_;
  int number_ = 0;
  bool isText_ = false;
};

/// Sets the calling thread's current error text: what went wrong in a call that can only return a
/// code. `format` is laid out as for printf(3), with %s and %d. An argument that is not there is
/// never read: a conversion without one, or of another kind, comes out as itself, and "%%" as "%".
HOQ_EXPORT void setErrorMessage(std::string_view format,
                                std::initializer_list<HOQMessageArgument> arguments);

template <class... Arguments>
void setErrorMessage(std::string_view format, const Arguments&... arguments) {
  setErrorMessage(format,
                  std::initializer_list<HOQMessageArgument>{HOQMessageArgument(arguments)...});
}

/// The calling thread's current error text; empty when there is none. Valid until the next set.
HOQ_EXPORT const std::string& getErrorMessage();

/// Empties the calling thread's current error text.
HOQ_EXPORT void clearErrorMessage();

}  // namespace HOQ
