#include "call/Events.h"

#include <fmt/format.h>

#include <iterator>

#include "output/JsonText.h"

namespace HOQ::cli {
namespace {

void appendValue(Output::Buffer& out, const HOQRequestProgressData::Value& value) {
  if (const auto* text = std::get_if<std::string>(&value))
    appendJson(out, *text);
  else if (const auto* number = std::get_if<std::uint64_t>(&value))
    fmt::format_to(std::back_inserter(out), "{}", *number);
  else
    fmt::format_to(std::back_inserter(out), "{}", std::get<std::uint32_t>(value));
}

}  // namespace

void appendEvent(Output& out, const HOQRequestErrorData& error) {
  fmt::format_to(std::back_inserter(out.buffer()),
                 "{{\"error\":{{\"code\":{},\"message\":", error.code);
  appendJson(out.buffer(), error.message);
  out.append("}}");
}

void appendEvent(Output& out, const HOQRequestProgressData& progress) {
  out.append("{\"progress\":{\"status\":");
  appendJson(out.buffer(), progress.status);
  out.append(",\"operation\":");
  appendJson(out.buffer(), progress.operation);
  fmt::format_to(std::back_inserter(out.buffer()), ",\"percent\":{},\"parameters\":{{",
                 progress.percent);
  for (const auto& parameter : progress.parameters) {
    if (&parameter != &progress.parameters.front()) out.append(",");
    appendJson(out.buffer(), parameter.name);
    out.append(":");
    appendValue(out.buffer(), parameter.value);
  }
  out.append("}}}");
}

}  // namespace HOQ::cli
