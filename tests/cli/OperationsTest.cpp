#include "call/Operations.h"

#include <gtest/gtest.h>

#include <set>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

TEST(Operations, EveryRowIsFoundByItsName) {
  for (const Operation& row : operations()) EXPECT_EQ(findOperation(row.name), &row);
  EXPECT_EQ(findOperation("nonsense"), nullptr);
  EXPECT_EQ(findOperation(""), nullptr);
}

TEST(Operations, NoNameAndNoKeyStandsTwice) {
  std::set<std::string> names;
  for (const Operation& row : operations()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    std::set<std::string> keys;
    for (const Key& key : row.allKeys()) EXPECT_TRUE(keys.insert(key.name).second) << key.name;
  }
}

TEST(Operations, EveryOperationTakesTheCommonKeysAndNoneIsRequired) {
  for (const Key& key : commonKeys()) EXPECT_FALSE(key.required) << key.name;
  for (const Operation& row : operations())
    EXPECT_EQ(row.allKeys().size(), row.keys.size() + commonKeys().size());
}

TEST(Operations, EveryRowSaysItsRightAndWhatItDoes) {
  for (const Operation& row : operations()) {
    const std::string right = row.right;
    EXPECT_TRUE(right == "read" || right == "change") << row.name;
    EXPECT_NE(std::string(row.help), "") << row.name;
    EXPECT_NE(row.run, nullptr) << row.name;
  }
}

void expectOwner(const std::string& keys, bool taken) {
  const Operation& row = *findOperation("chown");
  const Request request = readRequest("{\"paths\": []" + keys + "}", row.allKeys());
  bool refused = false;
  try {
    row.check(request);
  } catch (const CommandError& error) {
    EXPECT_EQ(error.status, kExitUsage) << keys;
    refused = true;
  }
  EXPECT_EQ(!refused, taken) << keys;
}

TEST(Operations, AnOwnerIsNamesOrIdsAndWhole) {
  const std::string user = R"(, "user": "u")", group = R"(, "group": "")";
  const std::string uid = R"(, "uid": 1)", gid = R"(, "gid": 4294967295)";
  expectOwner(user + group, true);
  expectOwner(uid + gid, true);
  for (const std::string& keys :
       {std::string(), user, group, uid, gid, user + uid, user + gid, group + gid,
        user + group + uid, user + uid + gid, group + uid + gid, user + group + uid + gid})
    expectOwner(keys, false);
}

TEST(Operations, TheHelpTellsOfEveryOperationAndKey) {
  const std::string help = describeOperations();
  for (const Operation& row : operations()) {
    EXPECT_NE(help.find("  " + std::string(row.name) + " "), std::string::npos) << row.name;
    for (const Key& key : row.allKeys())
      EXPECT_NE(help.find(" " + std::string(key.name) + " "), std::string::npos) << key.name;
  }
}

}  // namespace
}  // namespace HOQ::cli
