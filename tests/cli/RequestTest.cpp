#include "call/Request.h"

#include <gtest/gtest.h>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

const std::vector<Key> kKeys = {
    {"paths", KeyType::kStrings, true, ""},
    {"text", KeyType::kString, false, ""},
    {"flags", KeyType::kInt32, false, ""},
    {"fields", KeyType::kUint32, false, ""},
    {"limit", KeyType::kInt64, false, ""},
    {"filters", KeyType::kFilters, false, ""},
    {"credentials", KeyType::kCredentials, false, ""},
};

Request read(const std::string& rest) {
  return readRequest("{\"paths\": []" + (rest.empty() ? "" : ", " + rest) + "}", kKeys);
}

TEST(Request, ReadsEveryKindOfValue) {
  const Request request = readRequest(
      R"({"paths": ["a", {"base64": "/w=="}, ""], "text": "caf\u00e9", "flags": -2147483648,
          "fields": 4294967295, "limit": -9223372036854775808,
          "filters": [{}, {"valid": 9, "uidMin": 3, "timeMin": -1, "namePattern": "n"}],
          "credentials": {"name": "u", "uid": 1, "gid": 2, "groups": ["g"], "gids": [3, 4],
                          "umask": 18}})",
      kKeys);
  EXPECT_EQ(request.texts("paths"), (std::vector<std::string>{"a", "\xff", ""}));
  EXPECT_EQ(request.text("text"), "caf\xC3\xA9");
  EXPECT_EQ(request.number("flags", 0), INT32_MIN);
  EXPECT_EQ(request.number("fields", 0), 0xFFFFFFFF);
  EXPECT_EQ(request.number("limit", 0), INT64_MIN);
  ASSERT_EQ(request.filters("filters")->size(), 2U);
  const HOQFileFilter& fresh = request.filters("filters")->at(0);
  EXPECT_EQ(fresh.valid, 0U);
  EXPECT_EQ(fresh.uidMax, 0xFFFFFFFF);
  const HOQFileFilter& filter = request.filters("filters")->at(1);
  EXPECT_EQ(filter.valid, 9U);
  EXPECT_EQ(filter.uidMin, 3U);
  EXPECT_EQ(filter.timeMin, -1);
  EXPECT_EQ(filter.namePattern, "n");
  const HOQUserCredentials& credentials = *request.credentials("credentials");
  EXPECT_EQ(credentials.name, "u");
  EXPECT_EQ(credentials.uid, 1U);
  EXPECT_EQ(credentials.gids, (std::vector<std::uint32_t>{2, 3, 4})) << "gid goes first";
  EXPECT_EQ(credentials.groups, std::vector<std::string>{"g"});
  EXPECT_EQ(credentials.umask, 18);
}

TEST(Request, LeavesOutWhatIsNotThere) {
  const Request request = read("");
  EXPECT_FALSE(request.has("text"));
  EXPECT_EQ(request.text("text"), "");
  EXPECT_EQ(request.number("flags", 7), 7);
  EXPECT_EQ(request.filters("filters"), nullptr);
  EXPECT_EQ(request.credentials("credentials"), nullptr);
}

TEST(Request, TellsNoFilterListFromAnEmptyOne) {
  EXPECT_EQ(read("\"filters\": null").filters("filters"), nullptr);
  ASSERT_NE(read("\"filters\": []").filters("filters"), nullptr);
  EXPECT_TRUE(read("\"filters\": []").filters("filters")->empty());
}

TEST(Request, CredentialsWithoutAGroupHaveNone) {
  const Request request = read(R"("credentials": {})");
  const HOQUserCredentials& credentials = *request.credentials("credentials");
  EXPECT_EQ(credentials.uid, HOQUserCredentials::kNone);
  EXPECT_TRUE(credentials.gids.empty());
}

void expectRefused(const std::string& json) {
  try {
    (void)readRequest(json, kKeys);  // the answer is of no use: it has to throw
    FAIL() << json;
  } catch (const CommandError& error) {
    EXPECT_EQ(error.status, kExitUsage) << json;
    const std::string line = error.what();
    EXPECT_NE(line, "") << json;
    EXPECT_EQ(line.find('\n'), std::string::npos) << json;
  }
}

TEST(Request, RefusesWhatIsNotOneObject) {
  for (const char* json :
       {"", " ", "{", "[]", "null", "1", "\"paths\"", "{\"paths\": []", "{} {}",
        "{\"paths\": []} x", "{'paths': []}", "{\"paths\": [],}", "{\"paths\": [\"\xff\"]}",
        "{\"paths\": [\"\n\"]}", "{\"paths\": [\"\\ud800\"]}", "{\"paths\": NaN}"})
    expectRefused(json);
  expectRefused(std::string(1'000'000, '['));
  expectRefused("{\"paths\": " + std::string(1'000'000, '['));
}

TEST(Request, RefusesMissingUnknownAndRepeatedKeys) {
  for (const char* json :
       {"{}", "{\"path\": []}", "{\"paths\": [], \"Paths\": []}", "{\"paths\": [], \"\": 0}",
        "{\"paths\": [], \"a\\nb\": 0}", "{\"paths\": [], \"paths\": []}",
        "{\"paths\": [], \"filters\": [{\"uid\": 1, \"uid\": 1}]}",
        "{\"paths\": [], \"filters\": [{\"owner\": 1}]}",
        "{\"paths\": [], \"credentials\": {\"home\": \"/\"}}",
        "{\"paths\": [{\"base64\": \"\", \"base64\": \"\"}]}"})
    expectRefused(json);
}

TEST(Request, RefusesValuesOfAnotherType) {
  for (const char* rest : {R"("text": 1)",
                           R"("text": null)",
                           R"("text": ["a"])",
                           R"("text": {})",
                           R"("text": {"base64": 1})",
                           R"("text": {"base64": "a"})",
                           R"("text": {"base64": "YQ"})",
                           R"("text": {"base64": "YQ==", "more": 1})",
                           R"("text": {"other": "YQ=="})",
                           R"("text": "a\u0000b")",
                           R"("text": {"base64": "AA=="})",
                           R"("flags": "1")",
                           R"("flags": 1.0)",
                           R"("flags": 1e3)",
                           R"("flags": true)",
                           R"("flags": null)",
                           R"("flags": 2147483648)",
                           R"("flags": -2147483649)",
                           R"("fields": -1)",
                           R"("fields": 4294967296)",
                           R"("limit": 9223372036854775808)",
                           R"("limit": -9223372036854775809)",
                           R"("limit": 99999999999999999999999)",
                           R"("filters": {})",
                           R"("filters": [1])",
                           R"("filters": [null])",
                           R"("filters": [{"uid": -1}])",
                           R"("filters": [{"uid": 4294967296}])",
                           R"("filters": [{"sizeMin": 1.5}])",
                           R"("filters": [{"namePattern": 1}])",
                           R"("credentials": null)",
                           R"("credentials": [])",
                           R"("credentials": {"uid": "0"})",
                           R"("credentials": {"uid": -1})",
                           R"("credentials": {"gids": [-1]})",
                           R"("credentials": {"gids": 1})",
                           R"("credentials": {"groups": [1]})",
                           R"("credentials": {"umask": 1.5})",
                           R"("credentials": {"name": null})"})
    expectRefused("{\"paths\": [], " + std::string(rest) + "}");
  for (const char* paths : {"\"a\"", "null", "{}", "[1]", "[null]", "[[\"a\"]]", "[\"a\\u0000\"]"})
    expectRefused("{\"paths\": " + std::string(paths) + "}");
}

const std::vector<Key> kUpload = {{"items", KeyType::kUploadItems, true, ""}};
const std::vector<Key> kDownload = {{"items", KeyType::kDownloadItems, true, ""}};

TEST(Request, ReadsItemsToUpload) {
  const Request request = readRequest(
      R"({"items": [{"path": "a", "size": 18446744073709551615, "data": "AP8="},
                    {"path": {"base64": "/w=="}, "size": 0, "offset": -9223372036854775808,
                     "file": "local"}]})",
      kUpload);
  const Request::Items& items = request.items("items");
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(items[0].path, "a");
  EXPECT_EQ(items[0].size, UINT64_MAX);
  EXPECT_EQ(items[0].offset, 0);
  EXPECT_EQ(items[0].data, std::string("\0\xff", 2));
  EXPECT_FALSE(items[0].isFromFile);
  EXPECT_EQ(items[1].path, "\xff");
  EXPECT_EQ(items[1].offset, INT64_MIN);
  EXPECT_TRUE(items[1].isFromFile);
  EXPECT_EQ(items[1].file, "local");
}

TEST(Request, ReadsItemsToDownload) {
  const Request request = readRequest(
      R"({"items": [{"path": "a"}, {"path": "", "size": 5, "offset": 9223372036854775807}]})",
      kDownload);
  const Request::Items& items = request.items("items");
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(items[0].size, 0U);
  EXPECT_EQ(items[0].offset, 0);
  EXPECT_EQ(items[1].size, 5U);
  EXPECT_EQ(items[1].offset, INT64_MAX);
  EXPECT_TRUE(readRequest(R"({"items": []})", kDownload).items("items").empty());
}

void expectItemRefused(const std::vector<Key>& keys, const std::string& items) {
  try {
    (void)readRequest("{\"items\": " + items + "}", keys);  // it has to throw
    FAIL() << items;
  } catch (const CommandError& error) {
    EXPECT_EQ(error.status, kExitUsage) << items;
    EXPECT_NE(std::string(error.what()), "") << items;
  }
}

TEST(Request, RefusesItemsOfAnotherShape) {
  for (const auto& keys : {kUpload, kDownload})
    for (const char* items :
         {"null", "{}", "\"a\"", "[1]", "[null]", "[[]]", "[{}]", R"([{"size": 1}])"})
      expectItemRefused(keys, items);
  for (const char* rest :
       {R"("size": -1)", R"("size": 18446744073709551616)", R"("size": 1.0)", R"("size": "1")",
        R"("size": null)", R"("offset": 9223372036854775808)", R"("offset": 0.5)",
        R"("offset": -9223372036854775809)", R"("data": "")", R"("file": "f")", R"("mode": 1)"})
    expectItemRefused(kDownload, R"([{"path": "a", )" + std::string(rest) + "}]");
  for (const char* rest :
       {R"("size": 1)", R"("data": "YQ==")", R"("file": "f")",
        R"("size": 1, "data": "YQ==", "file": "f")", R"("size": -1, "data": "")",
        R"("size": 1, "data": "YQ")", R"("size": 1, "data": {"base64": "YQ=="})",
        R"("size": 1, "data": null)", R"("size": 1, "file": 1)", R"("size": 1, "file": "a\u0000")",
        R"("size": 1, "data": "", "mode": 1)"})
    expectItemRefused(kUpload, R"([{"path": "a", )" + std::string(rest) + "}]");
  expectItemRefused(kDownload, R"([{"path": "a\u0000b"}])");
  expectItemRefused(kDownload, R"([{"path": "a"}, {"path": "b", "path": "c"}])");
}

}  // namespace
}  // namespace HOQ::cli
