#include "front/Logging.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

namespace HOQ::agent {
namespace {

/// "<6>" and the like before each line: sd-daemon(3).
class JournalLevel : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& message, const std::tm&,
              spdlog::memory_buf_t& line) override {
    const char* prefix = "<6>";
    if (message.level == spdlog::level::debug) prefix = "<7>";
    if (message.level == spdlog::level::warn) prefix = "<4>";
    if (message.level >= spdlog::level::err) prefix = "<3>";
    line.append(prefix, prefix + 3);
  }

  std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<JournalLevel>();
  }
};

}  // namespace

void setUpLogging() {
  auto log =
      std::make_shared<spdlog::logger>("hoqd", std::make_shared<spdlog::sinks::stderr_sink_mt>());
  auto formatter = std::make_unique<spdlog::pattern_formatter>();
  if (std::getenv("JOURNAL_STREAM")) {
    formatter->add_flag<JournalLevel>('*').set_pattern("%*%v");
  } else {
    formatter->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l: %v");
  }
  log->set_formatter(std::move(formatter));
  log->flush_on(spdlog::level::trace);
  spdlog::set_default_logger(std::move(log));
}

std::string printable(const std::string& text) {
  std::string result = text;
  std::replace_if(
      result.begin(), result.end(),
      [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
  return result;
}

}  // namespace HOQ::agent
