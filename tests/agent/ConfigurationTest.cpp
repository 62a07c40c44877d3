#include "config/Configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "support/TempDir.h"

namespace HOQ::agent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Surroundings kSurroundings{"files"};

ReadConfiguration parse(const std::string& text) {
  return parseConfiguration(text, "conf/hoqd.toml", kSurroundings);
}

constexpr char kTls[] = "[tls]\nca = \"ca.pem\"\ncert = \"node.pem\"\nkey = \"node.key\"\n";

TEST(ConfigurationTest, EveryValueIsTakenAsItStands) {
  const ReadConfiguration read = parse(R"(
listen  = ["127.0.0.1:7850", "unix:/run/hoq/hoqd.sock", "[::1]:0"]
plugins = "/usr/lib/hoq/plugins"
state   = "/var/lib/other"
audit   = "/var/log/hoq/audit.jsonl"
metrics = "127.0.0.1:9850"
[tls]
ca = "/etc/ca.pem"
cert = "node.pem"
key = "keys/node.key"
revoked = "revoked.txt"
[limits]
connections = 1
connections_per_peer = 2
requests_per_client = 3
idle_seconds = 4
message_bytes = 1048576
worker_idle_seconds = 5
drain_seconds = 6
[[client]]
name = "admin"
rights = ["read", "change"]
run_as = "files"
[[client]]
name = "uid:1000"
rights = ["read"]
[[client]]
name = "spiffe://hoq/backup"
rights = []
)");
  ASSERT_THAT(read.problems, IsEmpty());
  const Configuration& c = read.configuration;
  EXPECT_EQ(c.file, "conf/hoqd.toml");
  EXPECT_THAT(c.listen, ElementsAre("127.0.0.1:7850", "unix:/run/hoq/hoqd.sock", "[::1]:0"));
  EXPECT_EQ(c.plugins, "/usr/lib/hoq/plugins");
  EXPECT_EQ(c.state, "/var/lib/other");
  EXPECT_EQ(c.audit, "/var/log/hoq/audit.jsonl");
  EXPECT_EQ(c.metrics, "127.0.0.1:9850");
  ASSERT_TRUE(c.tls);
  EXPECT_EQ(*c.tls,
            (TlsFiles{"/etc/ca.pem", "conf/node.pem", "conf/keys/node.key", "conf/revoked.txt"}));
  EXPECT_EQ(c.limits, (Limits{1, 2, 3, 4, 1048576, 5, 6}));
  EXPECT_THAT(c.clients, ElementsAre(ClientEntry{"admin", true, true, "files"},
                                     ClientEntry{"uid:1000", true, false, ""},
                                     ClientEntry{"spiffe://hoq/backup", false, false, ""}));
}

TEST(ConfigurationTest, WhatIsLeftOutHasItsDefault) {
  const ReadConfiguration read = parse("listen = [\"unix:/run/hoq/hoqd.sock\"]\n");
  ASSERT_THAT(read.problems, IsEmpty());
  const Configuration& c = read.configuration;
  EXPECT_EQ(c.plugins, "");
  EXPECT_EQ(c.state, "/var/lib/hoq");
  EXPECT_EQ(c.audit, "");
  EXPECT_EQ(c.metrics, "");
  EXPECT_FALSE(c.tls);
  EXPECT_EQ(c.limits, (Limits{1024, 256, 64, 60, 4194304, 300, 30}));
  EXPECT_THAT(c.clients, IsEmpty());
}

TEST(ConfigurationTest, RelativeNamesStartAtTheFilesFolder) {
  const struct {
    const char* file;
    const char* resolved;
  } cases[] = {{"hoqd.toml", "audit"},
               {"/etc/hoq/hoqd.toml", "/etc/hoq/audit"},
               {"../hoqd.toml", "../audit"}};
  for (const auto& each : cases) {
    const ReadConfiguration read =
        parseConfiguration("listen = [\"unix:/x\"]\naudit = \"audit\"\n", each.file, kSurroundings);
    EXPECT_THAT(read.problems, IsEmpty());
    EXPECT_EQ(read.configuration.audit, each.resolved);
  }
}

TEST(ConfigurationTest, EntriesOfOneNameAreTakenSinceTheFirstCounts) {
  const ReadConfiguration read = parse(
      "listen = [\"unix:/x\"]\n"
      "[[client]]\nname = \"a\"\nrights = [\"read\"]\n"
      "[[client]]\nname = \"a\"\nrights = [\"change\"]\n");
  ASSERT_THAT(read.problems, IsEmpty());
  EXPECT_EQ(read.configuration.clients.size(), 2u);
}

struct Rejected {
  const char* name;
  std::string text;
  const char* problem;  // after "conf/hoqd.toml:"
};

const std::string kListen = "listen = [\"unix:/x\"]\n";
const std::string kClient = kListen + "[[client]]\n";

const Rejected kRejected[] = {
    // the file as a whole
    {"No listener", "", "1: listen: missing"},
    {"An empty list of listeners", "listen = []\n", "1: listen: must name at least one address"},
    {"A listener that is no list", "listen = \"unix:/x\"\n",
     "1: listen: must be an array of texts, not a text"},
    {"A listener that is no text", "listen = [\"unix:/x\",\n 7]\n",
     "2: listen: must be a text, not an integer"},
    {"A listener that is empty", "listen = [\"\"]\n", "1: listen: must not be empty"},
    {"A listener twice", "listen = [\"unix:/x\", \"unix:/x\"]\n",
     "1: listen: \"unix:/x\" stands there twice"},
    {"An unknown key", kListen + "\nlisten_on = 1\n", "3: listen_on: unknown key"},
    {"An unknown table", kListen + "[tsl]\nca = 1\n", "2: tsl: unknown key"},
    {"A key that holds a line break", kListen + "\"a\\nb\" = 1\n", "2: a?b: unknown key"},
    {"A state that is a number", kListen + "state = 3\n",
     "2: state: must be a text, not an integer"},
    {"A state without a name", kListen + "state = \"\"\n", "2: state: must not be empty"},
    {"An audit with a line break", kListen + "audit = \"a\\nb\"\n",
     "2: audit: must not contain control characters"},
    {"A folder of plugins that is a list", kListen + "plugins = []\n",
     "2: plugins: must be a text, not an array"},
    {"Metrics for all the world", kListen + "metrics = \"0.0.0.0:9850\"\n",
     "2: metrics: \"0.0.0.0:9850\" is not a loopback address"},
    {"Metrics under a name", kListen + "metrics = \"example.org:9850\"\n",
     "2: metrics: \"example.org:9850\" is not a loopback address"},
    {"Metrics on a UNIX socket", kListen + "metrics = \"unix:/m\"\n",
     "2: metrics: \"unix:/m\" is not a loopback address"},
    // [tls]
    {"TCP without certificates", "listen = [\"127.0.0.1:0\"]\n",
     "1: tls: missing, but needed to listen on a TCP address"},
    {"Certificates that are no table", kListen + "tls = \"ca.pem\"\n",
     "2: tls: must be a table, [tls], not a text"},
    {"No authority", kListen + "[tls]\ncert = \"c\"\nkey = \"k\"\n", "2: tls.ca: missing"},
    {"No key", kListen + "[tls]\nca = \"c\"\ncert = \"c\"\n", "2: tls.key: missing"},
    {"An unknown file", kListen + kTls + "crl = \"x\"\n", "6: tls.crl: unknown key"},
    {"A certificate that is a truth value",
     kListen + "[tls]\nca = \"c\"\ncert = true\nkey = \"k\"\n",
     "4: tls.cert: must be a text, not a truth value"},
    {"A revoked list without a name", kListen + kTls + "revoked = \"\"\n",
     "6: tls.revoked: must not be empty"},
    // [limits]
    {"Limits that are a list", kListen + "limits = [1]\n",
     "2: limits: must be a table, [limits], not an array"},
    {"No connections", kListen + "[limits]\nconnections = 0\n",
     "3: limits.connections: must be from 1 to 100000"},
    {"Negative connections", kListen + "[limits]\nconnections = -1\n",
     "3: limits.connections: must be from 1 to 100000"},
    {"More connections than there can be",
     kListen + "[limits]\nconnections_per_peer = 9223372036854775807\n",
     "3: limits.connections_per_peer: must be from 1 to 100000"},
    {"Half a second", kListen + "[limits]\nidle_seconds = 0.5\n",
     "3: limits.idle_seconds: must be an integer, not a number with a fraction"},
    {"Seconds in words", kListen + "[limits]\nidle_seconds = \"60\"\n",
     "3: limits.idle_seconds: must be an integer, not a text"},
    {"Messages that no data frame fits", kListen + "[limits]\nmessage_bytes = 262144\n",
     "3: limits.message_bytes: must be from 524288 to 67108864"},
    {"No requests", kListen + "[limits]\nrequests_per_client = 0\n",
     "3: limits.requests_per_client: must be from 1 to 10000"},
    {"No time for idle workers", kListen + "[limits]\nworker_idle_seconds = 0\n",
     "3: limits.worker_idle_seconds: must be from 1 to 31536000"},
    {"An unknown limit", kListen + "[limits]\nconections = 3\n",
     "3: limits.conections: unknown key"},
    // [[client]]
    {"A client that is a table", kListen + "[client]\nname = \"a\"\n",
     "2: client: must be an array of tables, [[client]], not a table"},
    {"A list of clients' names", kListen + "client = [\"a\"]\n",
     "2: client: must be an array of tables, [[client]], not a text"},
    {"A client without a name", kClient + "rights = []\n", "2: client.name: missing"},
    {"A client without rights", kClient + "name = \"a\"\n", "2: client.rights: missing"},
    {"A client with an empty name", kClient + "name = \"\"\nrights = []\n",
     "3: client.name: must not be empty"},
    {"A user that is no number", kClient + "name = \"uid:root\"\nrights = []\n",
     "3: client.name: \"uid:root\" names no user id"},
    {"A user that none can be", kClient + "name = \"uid:4294967295\"\nrights = []\n",
     "3: client.name: \"uid:4294967295\" names no user id"},
    {"A right that there is not", kClient + "name = \"a\"\nrights = [\"write\"]\n",
     "4: client.rights: \"write\" is no right: there are \"read\" and \"change\""},
    {"A right that is no list", kClient + "name = \"a\"\nrights = \"read\"\n",
     "4: client.rights: must be an array of texts, not a text"},
    {"Another user", kClient + "name = \"a\"\nrights = []\nrun_as = \"root\"\n",
     "5: client.run_as: \"root\" is not the daemon's own user, \"files\""},
    {"A user for a user", kClient + "name = \"uid:0\"\nrights = []\nrun_as = \"files\"\n",
     "5: client.run_as: an entry \"uid:\" takes none"},
    {"An unknown key of a client", kClient + "name = \"a\"\nrights = []\nright = 1\n",
     "5: client.right: unknown key"},
};

TEST(ConfigurationTest, WhatIsNotRightIsRefusedWithFileLineAndKey) {
  for (const Rejected& row : kRejected) {
    SCOPED_TRACE(row.name);
    EXPECT_THAT(parse(row.text).problems,
                ElementsAre(std::string("conf/hoqd.toml:") + row.problem));
  }
}

TEST(ConfigurationTest, WhatIsNotTomlIsRefusedWithItsLine) {
  for (const char* text : {"listen = [\n", "listen = [\"unix:/x\"]\n= 3\n", "a = 1\na = 2\n",
                           "listen = \"\xff\"\n", "[[client]\n", "x = 2020-13-01\n"}) {
    SCOPED_TRACE(text);
    const ReadConfiguration read = parse(text);
    ASSERT_EQ(read.problems.size(), 1u);
    EXPECT_THAT(read.problems[0], testing::MatchesRegex("conf/hoqd.toml:[0-9]+: .+"));
    EXPECT_EQ(read.problems[0].find('\n'), std::string::npos);
  }
}

TEST(ConfigurationTest, AllThatIsWrongIsToldInTheOrderOfItsLines) {
  EXPECT_THAT(
      parse("xx = 1\nlisten = [\"unix:/x\"]\nstate = 2\n[limits]\nconnections = 0\n").problems,
      ElementsAre("conf/hoqd.toml:1: xx: unknown key",
                  "conf/hoqd.toml:3: state: must be a text, not an integer",
                  "conf/hoqd.toml:5: limits.connections: must be from 1 to 100000"));
}

TEST(ConfigurationTest, AFileFullOfMistakesIsNotToldWhole) {
  std::string text;
  for (int i = 0; i < 1000; ++i) text += "x" + std::to_string(i) + " = 1\n";
  EXPECT_EQ(parse(text).problems.size(), 50u);
}

TEST(ConfigurationTest, ALaterComplaintNamesTheKeysLine) {
  const ReadConfiguration read = parse(kListen + kTls);
  EXPECT_EQ(read.configuration.complaint("tls.key", "no"), "conf/hoqd.toml:5: tls.key: no");
}

TEST(ConfigurationTest, AFileIsReadAsItsTextIs) {
  const test::TempDir dir;
  std::ofstream(dir / "hoqd.toml") << kListen << "audit = \"a\"\n";
  const ReadConfiguration read = readConfiguration(dir / "hoqd.toml", kSurroundings);
  EXPECT_THAT(read.problems, IsEmpty());
  EXPECT_EQ(read.configuration.audit, dir / "a");
}

TEST(ConfigurationTest, AFileThatCannotBeReadIsRefused) {
  const test::TempDir dir;
  EXPECT_THAT(readConfiguration(dir / "none", kSurroundings).problems,
              ElementsAre(dir / "none:1: cannot be opened: No such file or directory"));
  EXPECT_THAT(readConfiguration(dir.path(), kSurroundings).problems,
              ElementsAre(dir.path() + ":1: cannot be read: Is a directory"));
  std::ofstream(dir / "long") << std::string((1 << 20) + 1, '#');
  EXPECT_THAT(readConfiguration(dir / "long", kSurroundings).problems,
              ElementsAre(dir / "long:1: longer than 1 MiB"));
}

}  // namespace
}  // namespace HOQ::agent
