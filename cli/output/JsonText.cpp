#include "output/JsonText.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "output/Base64.h"
#include "output/Utf8.h"

namespace HOQ::cli {
namespace {

using Records = std::vector<boost::shared_ptr<HOQFileType>>;

void append(Output::Buffer& out, std::string_view text) { Output::appendTo(out, text); }

bool isPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= 0x20 && c < 0x7F && c != '"' && c != '\\'; });
}

template <class Number>
void appendNumber(Output::Buffer& out, std::string_view key, Number number) {
  append(out, key);
  const fmt::format_int digits(number);
  append(out, {digits.data(), digits.size()});
}

void appendText(Output::Buffer& out, std::string_view key, const std::string& text) {
  append(out, key);
  appendJson(out, text);
}

}  // namespace

void appendJson(Output::Buffer& out, std::string_view text) {
  if (isPlain(text)) {
    out.push_back('"');
    append(out, text);
    out.push_back('"');
  } else if (isUtf8(text)) {
    append(out, nlohmann::json(text).dump());
  } else {
    append(out, "{\"base64\":\"");
    append(out, toBase64(text));
    append(out, "\"}");
  }
}

void appendJsonFields(Output::Buffer& out, const HOQFileType& record) {
  appendText(out, "\"name\":", record.name);
  appendNumber(out, ",\"type\":", record.type);
  appendNumber(out, ",\"permissions\":", record.permissions);
  appendText(out, ",\"user\":", record.user);
  appendNumber(out, ",\"uid\":", record.uid);
  appendText(out, ",\"group\":", record.group);
  appendNumber(out, ",\"gid\":", record.gid);
  appendNumber(out, ",\"size\":", record.size);
  appendNumber(out, ",\"mtime\":", record.mtime);
  appendNumber(out, ",\"nlink\":", record.nlink);
  appendText(out, ",\"linkTarget\":", record.linkTarget);
  appendText(out, ",\"contentType\":", record.contentType);
  appendNumber(out, ",\"valid\":", record.valid);
}

void appendJsonRecords(Output& out, const Records& records) {
  struct Level {
    const Records* records;
    std::size_t next;
  };
  std::vector<Level> levels{{&records, 0}};
  out.append("[");
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.records->size()) {
      levels.pop_back();
      out.append(levels.empty() ? "]" : "]}");
      continue;
    }
    if (level.next != 0) out.append(",");
    const HOQFileType& record = *(*level.records)[level.next++];
    out.append("{");
    appendJsonFields(out.buffer(), record);
    out.append(",\"children\":[");
    levels.push_back({&record.children, 0});
    out.checkpoint();
  }
}

}  // namespace HOQ::cli
