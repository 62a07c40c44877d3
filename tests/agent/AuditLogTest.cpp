#include "front/AuditLog.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "support/TempDir.h"

namespace HOQ::agent {
namespace {

const std::chrono::system_clock::time_point kTime{std::chrono::milliseconds(1714566600042)};

std::string contents(const std::string& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(AuditLogTest, ALineSaysWhoDidWhatToWhichPathsAndWhatCameOfIt) {
  const Audit whole{"Copy", "admin", "/srv",       {"a", "b"}, 9, "/to", -1, "the client is gone",
                    5,      77,      "192.0.2.1:5"};
  EXPECT_EQ(auditLine(kTime, "node-b", whole),
            R"({"time":"2024-05-01T12:30:00.042Z","client":"node-b","address":"192.0.2.1:5",)"
            R"("askedBy":"admin",)"
            R"("operation":"Copy","cwd":"/srv","paths":["a","b"],"pathCount":9,)"
            R"("destination":"/to","code":-1,"trouble":"the client is gone","bytes":5,)"
            R"("microseconds":77})");
  const Audit bare{"Mkdir", "", "", {"/d"}, 1, "", 0, "", 0, 3, ""};
  EXPECT_EQ(auditLine(kTime, "admin", bare),
            R"({"time":"2024-05-01T12:30:00.042Z","client":"admin","operation":"Mkdir",)"
            R"("cwd":"","paths":["/d"],"code":0,"bytes":0,"microseconds":3})");
}

TEST(AuditLogTest, NoNameBreaksALine) {
  const Audit odd{"Remove", "", "", {"a\nb\"", "\xff\x01", "\xff\xfe\xfd"}, 3, "", 0, "", 0, 0, ""};
  EXPECT_EQ(auditLine(kTime, "c", odd),
            R"({"time":"2024-05-01T12:30:00.042Z","client":"c","operation":"Remove","cwd":"",)"
            R"("paths":["a\nb\"",{"base64":"/wE="},{"base64":"//79"}],)"
            R"("code":0,"bytes":0,"microseconds":0})");
}

TEST(AuditLogTest, AFileIsAppendedToAndAFreshOneIsNotForAll) {
  const test::TempDir dir;
  for (const char* line : {"one", "two"}) {
    auto log = AuditLog::open(dir / "audit");
    ASSERT_TRUE(log);
    EXPECT_TRUE((*log)->write(line));
  }
  EXPECT_EQ(contents(dir / "audit"), "one\ntwo\n");
  struct stat info {};
  ASSERT_EQ(::stat((dir / "audit").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
}

TEST(AuditLogTest, AFileThatCannotBeOpenedIsTold) {
  const test::TempDir dir;
  const auto log = AuditLog::open(dir / "none/audit");
  ASSERT_FALSE(log);
  EXPECT_EQ(log.error().text,
            "cannot open " + (dir / "none/audit") + ": No such file or directory");
}

TEST(AuditLogTest, ALineThatCannotBeWrittenIsTold) {
  auto log = AuditLog::open("/dev/full");
  ASSERT_TRUE(log);
  EXPECT_FALSE((*log)->write("line"));
  EXPECT_FALSE((*log)->write("line"));
}

}  // namespace
}  // namespace HOQ::agent
