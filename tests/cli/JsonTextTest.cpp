#include "output/JsonText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/smart_ptr/make_shared.hpp>
#include <nlohmann/json.hpp>

#include "OutputFile.h"
#include "output/Base64.h"
#include "output/Utf8.h"

namespace HOQ::cli {
namespace {

using Json = nlohmann::json;
using Records = std::vector<boost::shared_ptr<HOQFileType>>;

std::string jsonOf(const std::string& text) {
  Output::Buffer out;
  appendJson(out, text);
  return fmt::to_string(out);
}

TEST(JsonText, WritesStringsThatReadBackAsTheyWere) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text = "a" + std::string(1, static_cast<char>(byte)) + "z";
    const Json back = Json::parse(jsonOf(text));
    if (isUtf8(text)) {
      EXPECT_EQ(back, Json(text)) << byte;
    } else {
      std::string bytes;
      ASSERT_TRUE(fromBase64(back.at("base64").get<std::string>(), bytes)) << byte;
      EXPECT_EQ(bytes, text) << byte;
    }
  }
  EXPECT_EQ(jsonOf(""), "\"\"");
  EXPECT_EQ(jsonOf("caf\xC3\xA9"), "\"caf\xC3\xA9\"");
}

boost::shared_ptr<HOQFileType> named(const char* name) {
  auto record = boost::make_shared<HOQFileType>();
  record->name = name;
  return record;
}

TEST(JsonText, WritesEveryKeyOfARecord) {
  HOQFileType record;
  record.name = "n";
  record.type = 8;
  record.permissions = 0644;
  record.user = "u";
  record.uid = 4294967295;
  record.group = "g";
  record.gid = 2;
  record.size = 18446744073709551615U;
  record.mtime = -5;
  record.nlink = 3;
  record.linkTarget = "t";
  record.contentType = "c";
  record.valid = 0xFFF;
  Output::Buffer out;
  appendJsonFields(out, record);
  const Json expected = {
      {"name", "n"},       {"type", 8},    {"permissions", 420}, {"user", "u"},
      {"uid", 4294967295}, {"group", "g"}, {"gid", 2},           {"size", 18446744073709551615U},
      {"mtime", -5},       {"nlink", 3},   {"linkTarget", "t"},  {"contentType", "c"},
      {"valid", 4095}};
  EXPECT_EQ(Json::parse("{" + fmt::to_string(out) + "}"), expected);
}

TEST(JsonText, NestsChildren) {
  const Records records = {named("a"), named("b")};
  records[0]->children = {named("c"), named("d")};
  records[0]->children[0]->children = {named("e")};
  OutputFile file;
  appendJsonRecords(file.out, records);
  const Json json = Json::parse(file.text());
  ASSERT_EQ(json.size(), 2U);
  EXPECT_EQ(json[0]["children"][0]["children"][0]["name"], "e");
  EXPECT_EQ(json[0]["children"][1]["name"], "d");
  EXPECT_EQ(json[1]["name"], "b");
  EXPECT_TRUE(json[1]["children"].empty());
}

TEST(JsonText, WritesNothingAsAnEmptyArray) {
  OutputFile file;
  appendJsonRecords(file.out, {});
  EXPECT_EQ(file.text(), "[]");
}

TEST(JsonText, DeepTreesNeedNoDeepStack) {
  constexpr int kDepth = 200'000;
  Records records = {named("d")};
  HOQFileType* last = records.front().get();
  for (int i = 1; i < kDepth; ++i) {
    last->children.push_back(named("d"));
    last = last->children.front().get();
  }
  OutputFile file;
  appendJsonRecords(file.out, records);
  const std::string text = file.text();
  EXPECT_EQ(std::count(text.begin(), text.end(), '{'), kDepth);
  EXPECT_EQ(std::count(text.begin(), text.end(), '}'), kDepth);
}

}  // namespace
}  // namespace HOQ::cli
