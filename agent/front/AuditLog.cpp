#include "front/AuditLog.h"

#include <spdlog/spdlog.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <nlohmann/json.hpp>
#include <system_error>

namespace HOQ::agent {
namespace {

using Json = nlohmann::json;

std::string base64(const std::string& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (k < left ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= left ? kDigits[group >> (18 - 6 * k) & 63] : '=';
    }
  }
  return text;
}

/// A name may be any bytes: those that are no text appear as {"base64": "…"}.
std::string asJson(const std::string& text) {
  try {
    return Json(text).dump();
  } catch (const Json::type_error&) {
    return R"({"base64":")" + base64(text) + "\"}";
  }
}

std::string timeText(std::chrono::system_clock::time_point time) {
  const auto sinceEpoch = time.time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
  const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch - seconds);
  const std::time_t whole = seconds.count();
  std::tm parts{};
  ::gmtime_r(&whole, &parts);
  char text[40];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(rest.count()));
  return text;
}

}  // namespace

std::string auditLine(std::chrono::system_clock::time_point time, const std::string& client,
                      const Audit& audit) {
  // Written straight into the line: a copy of a tree makes one for each item.
  std::string line = R"({"time":")" + timeText(time) + '"';
  const auto add = [&line](const char* key, const std::string& value) {
    line.append(",\"").append(key).append("\":").append(value);
  };
  add("client", asJson(client));
  if (!audit.address.empty()) add("address", asJson(audit.address));
  if (!audit.askedBy.empty()) add("askedBy", asJson(audit.askedBy));
  add("operation", asJson(audit.operation));
  add("cwd", asJson(audit.cwd));
  std::string paths;
  for (const std::string& path : audit.paths) paths += (paths.empty() ? "" : ",") + asJson(path);
  add("paths", '[' + paths + ']');
  if (audit.pathCount > audit.paths.size()) add("pathCount", std::to_string(audit.pathCount));
  if (!audit.destination.empty()) add("destination", asJson(audit.destination));
  add("code", std::to_string(audit.code));
  if (!audit.trouble.empty()) add("trouble", asJson(audit.trouble));
  add("bytes", std::to_string(audit.bytes));
  add("microseconds", std::to_string(audit.tookMicroseconds));
  return line + '}';
}

tls::Result<std::unique_ptr<AuditLog>> AuditLog::open(const std::string& file) {
  auto log = std::make_unique<AuditLog>();
  if (file.empty()) return log;
  log->name_ = file;
  log->file_.reset(std::fopen(file.c_str(), "ae"));
  if (!log->file_) {
    const int error = errno;
    return tls::Error{tls::ErrorKind::kUsage,
                      "cannot open " + file + ": " + std::generic_category().message(error)};
  }
  // A line is one write(2), and what could not be written does not linger.
  (void)std::setvbuf(log->file_.get(), nullptr, _IONBF, 0);
  struct stat info {};
  const int fd = ::fileno(log->file_.get());
  if (::fstat(fd, &info) == 0 && info.st_size == 0 && S_ISREG(info.st_mode)) {
    (void)::fchmod(fd, 0640);  // somebody else's file, that we may append to, stays as it is
  }
  return log;
}

bool AuditLog::write(const std::string& line) {
  if (!file_) {
    spdlog::info("audit: {}", line);
    return true;
  }
  const std::string whole = line + "\n";
  if (std::fwrite(whole.data(), 1, whole.size(), file_.get()) == whole.size()) return true;
  const int error = errno;
  std::clearerr(file_.get());
  spdlog::error("cannot write to {}: {}; audit: {}", name_, std::generic_category().message(error),
                line);
  return false;
}

}  // namespace HOQ::agent
