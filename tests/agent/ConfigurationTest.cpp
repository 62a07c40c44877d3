#include "config/Configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <map>

#include "config/ConfigurationFile.h"
#include "support/Isolation.h"
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
engine  = "blocks"
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
workers = 7
worker_descriptors = 64
worker_memory_mib = 1024
[[peer]]
name = "backup.example.org"
address = "10.0.0.*:7850"
[[client]]
name = "admin"
rights = ["read", "change"]
run_as = "files"
umask = "027"
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
  EXPECT_EQ(c.engine, "blocks");
  EXPECT_EQ(c.state, "/var/lib/other");
  EXPECT_EQ(c.audit, "/var/log/hoq/audit.jsonl");
  EXPECT_EQ(c.metrics, "127.0.0.1:9850");
  ASSERT_TRUE(c.tls);
  EXPECT_EQ(*c.tls,
            (TlsFiles{"/etc/ca.pem", "conf/node.pem", "conf/keys/node.key", "conf/revoked.txt"}));
  EXPECT_EQ(c.limits, (Limits{1, 2, 3, 4, 1048576, 5, 6, 7, 64, 1024}));
  EXPECT_THAT(c.peers, ElementsAre(PeerEntry{"backup.example.org", "10.0.0.*:7850"}));
  EXPECT_EQ(c.user, "") << "it stays who it is";
  EXPECT_THAT(c.clients, ElementsAre(ClientEntry{"admin", true, true, "files", 027},
                                     ClientEntry{"uid:1000", true, false, ""},
                                     ClientEntry{"spiffe://hoq/backup", false, false, ""}));
}

TEST(ConfigurationTest, WhatIsLeftOutHasItsDefault) {
  const ReadConfiguration read = parse("listen = [\"unix:/run/hoq/hoqd.sock\"]\n");
  ASSERT_THAT(read.problems, IsEmpty());
  const Configuration& c = read.configuration;
  EXPECT_EQ(c.plugins, "");
  EXPECT_EQ(c.engine, "kernel");
  EXPECT_EQ(c.state, "/var/lib/hoq");
  EXPECT_EQ(c.audit, "");
  EXPECT_EQ(c.metrics, "");
  EXPECT_FALSE(c.tls);
  EXPECT_EQ(c.limits, (Limits{1024, 256, 64, 60, 4194304, 300, 30, 64, 4096, 0}));
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
    {"A user to become", kListen + "user = \"hoq\"\n",
     "2: user: \"hoq\" is not the daemon's own user, \"files\", and only a daemon that is started "
     "as "
     "root takes another"},
    {"Another user for all", kListen + "default_run_as = \"root\"\n",
     "2: default_run_as: \"root\" is not the daemon's own user, \"files\""},
    {"Another user by the client's name",
     kClient + "name = \"a\"\nrights = []\nrun_as = \"@name\"\n",
     "5: client.run_as: \"a\" is not the daemon's own user, \"files\""},
    {"Roots", kClient + "name = \"a\"\nrights = []\nroots = [\"/srv\"]\n",
     "5: client.roots: only a daemon that is started as root can confine requests"},
    {"A umask in words", kClient + "name = \"a\"\nrights = []\numask = \"u=rwx\"\n",
     "5: client.umask: \"u=rwx\" is no umask, such as \"027\""},
    {"A umask that is a number", kClient + "name = \"a\"\nrights = []\numask = 27\n",
     "5: client.umask: must be a text, not an integer"},
    {"A umask with other digits", kClient + "name = \"a\"\nrights = []\numask = \"028\"\n",
     "5: client.umask: \"028\" is no umask, such as \"027\""},
    {"A umask with bits that are none", kClient + "name = \"a\"\nrights = []\numask = \"7022\"\n",
     "5: client.umask: \"7022\" is no umask, such as \"027\""},
    {"A umask that is too short", kClient + "name = \"a\"\nrights = []\numask = \"22\"\n",
     "5: client.umask: \"22\" is no umask, such as \"027\""},
    // [[peer]]
    {"A peer without a name", kListen + "[[peer]]\naddress = \"*\"\n", "2: peer.name: missing"},
    {"A peer without an address", kListen + "[[peer]]\nname = \"a\"\n", "2: peer.address: missing"},
    {"A peer on a UNIX socket", kListen + "[[peer]]\nname = \"a\"\naddress = \"unix:/x\"\n",
     "4: peer.address: UNIX sockets are reached by the users that requests run as, not by the "
     "daemon"},
    {"A peer whose port is none", kListen + "[[peer]]\nname = \"a\"\naddress = \"a:b\"\n",
     "4: peer.address: \"a:b\" is no pattern of addresses, such as \"10.0.0.*:7850\""},
    // engine
    {"Another engine", kListen + "engine = \"steam\"\n",
     "2: engine: \"steam\" is no engine: there are \"blocks\" and \"kernel\""},
    {"An engine by its number", kListen + "engine = 1\n",
     "2: engine: must be a text, not an integer"},
    // [limits] of workers
    {"No workers", kListen + "[limits]\nworkers = 0\n",
     "3: limits.workers: must be from 1 to 10000"},
    {"Descriptors that no worker gets by with", kListen + "[limits]\nworker_descriptors = 63\n",
     "3: limits.worker_descriptors: must be from 64 to 1048576"},
    {"Memory that no worker gets by with", kListen + "[limits]\nworker_memory_mib = 511\n",
     "3: limits.worker_memory_mib: must be from 512 to 16777216"},
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

/// A machine with some accounts, as root's daemon sees it.
Surroundings ofRoot() {
  Surroundings surroundings{"root", true};
  surroundings.uidOf = [](const std::string& user) -> std::optional<uid_t> {
    const std::map<std::string, uid_t> known = {{"root", 0}, {"toor", 0},  {"hoq", 5}, {"twin", 5},
                                                {"own", 6},  {"files", 7}, {"a", 8}};
    const auto found = known.find(user);
    return found == known.end() ? std::nullopt : std::optional(found->second);
  };
  return surroundings;
}

ReadConfiguration parseAsRoot(const std::string& text) {
  return parseConfiguration(text, "conf/hoqd.toml", ofRoot());
}

std::string client(const std::string& name, const std::string& more = "") {
  return "[[client]]\nname = \"" + name + "\"\nrights = []\n" + more;
}

TEST(ConfigurationTest, RootsDaemonBecomesItsUserAndItsWorkersTheirs) {
  const ReadConfiguration read = parseAsRoot(
      kListen + "user = \"own\"\ndefault_run_as = \"files\"\n" + client("b") +
      client("c", "run_as = \"a\"\n") + client("a", "run_as = \"@name\"\n") + client("uid:1000") +
      client("uid:0") + client("d", "run_as = \"root\"\nroots = [\"/srv\", \"/data/files\"]\n"));
  ASSERT_THAT(read.problems, IsEmpty());
  EXPECT_EQ(read.configuration.user, "own");
  std::vector<std::string> users;
  for (const ClientEntry& entry : read.configuration.clients) users.push_back(entry.runAs);
  EXPECT_THAT(users, ElementsAre("files", "a", "a", "", "", "root"));
  EXPECT_THAT(read.configuration.clients.back().roots, ElementsAre("/srv", "/data/files"));
  EXPECT_EQ(read.configuration.clients.front().umask, mode_t{022});
}

TEST(ConfigurationTest, RootsDaemonIsHoqUnlessAnotherUserIsNamed) {
  EXPECT_EQ(parseAsRoot(kListen).configuration.user, "hoq");
}

TEST(ConfigurationTest, ByDefaultClientsAreWhatTheirNamesSay) {
  const ReadConfiguration read =
      parseAsRoot(kListen + "default_run_as = \"@name\"\n" + client("files") + client("a"));
  ASSERT_THAT(read.problems, IsEmpty());
  EXPECT_EQ(read.configuration.clients[0].runAs, "files");
  EXPECT_EQ(read.configuration.clients[1].runAs, "a");
}

const Rejected kRejectedOfRoot[] = {
    {"A user that is not there", kListen + "user = \"gone\"\n",
     "2: user: there is no user \"gone\", whom the daemon is to become: make the account, or name "
     "another"},
    {"Root for a user", kListen + "user = \"toor\"\n", "2: user: must not be root"},
    {"A client that is nobody", kListen + client("a"),
     "2: client.run_as: missing, and there is no default_run_as: name the user that requests run "
     "as"},
    {"A client that is not there", kListen + client("b", "run_as = \"gone\"\n"),
     "5: client.run_as: there is no user \"gone\""},
    {"A client whose name is nobody's", kListen + client("b", "run_as = \"@name\"\n"),
     "5: client.run_as: there is no user \"b\""},
    {"A client whose name is root's", kListen + client("root", "run_as = \"@name\"\n"),
     "5: client.run_as: \"@name\" would be root here, who must be named"},
    {"A client that is the daemon", kListen + client("b", "run_as = \"hoq\"\n"),
     "5: client.run_as: \"hoq\" is the daemon's own user, which holds its key"},
    {"A client that is the daemon by another name", kListen + client("b", "run_as = \"twin\"\n"),
     "5: client.run_as: \"twin\" is the daemon's own user, which holds its key"},
    {"A peer that is the daemon", kListen + client("uid:5"),
     "3: client.name: this is \"hoq\", the daemon's own user, which holds its key"},
    {"A default that is not there", kListen + "default_run_as = \"gone\"\n" + client("b"),
     "2: default_run_as: there is no user \"gone\""},
    {"A default that is the daemon", kListen + "default_run_as = \"hoq\"\n" + client("b"),
     "2: default_run_as: \"hoq\" is the daemon's own user, which holds its key"},
    {"A user for a user", kListen + client("uid:7", "run_as = \"files\"\n"),
     "5: client.run_as: an entry \"uid:\" takes none"},
    {"A root that is relative", kListen + client("uid:7", "roots = [\"srv\"]\n"),
     "5: client.roots: \"srv\" is not absolute"},
    {"A root that is all", kListen + client("uid:7", "roots = [\"/\"]\n"),
     "5: client.roots: \"/\" confines nothing"},
    {"A root that climbs", kListen + client("uid:7", "roots = [\"/srv/../etc\"]\n"),
     "5: client.roots: \"/srv/../etc\" must be written without empty parts, \".\" and \"..\""},
    {"A root with a separator at its end", kListen + client("uid:7", "roots = [\"/srv/\"]\n"),
     "5: client.roots: \"/srv/\" must be written without empty parts, \".\" and \"..\""},
    {"A root of processes", kListen + client("uid:7", "roots = [\"/proc/1\"]\n"),
     "5: client.roots: \"/proc/1\" would show more than files"},
    {"Roots that are none", kListen + client("uid:7", "roots = []\n"),
     "5: client.roots: must name at least one folder; without the key all are open"},
    {"Roots that are a text", kListen + client("uid:7", "roots = \"/srv\"\n"),
     "5: client.roots: must be an array of texts, not a text"},
    {"A root twice", kListen + client("uid:7", "roots = [\"/srv\", \"/srv\"]\n"),
     "5: client.roots: \"/srv\" stands there twice"},
};

TEST(ConfigurationTest, WhatRootsDaemonMustNotDoIsRefused) {
  for (const Rejected& row : kRejectedOfRoot) {
    SCOPED_TRACE(row.name);
    EXPECT_THAT(parseAsRoot(row.text).problems,
                ElementsAre(std::string("conf/hoqd.toml:") + row.problem));
  }
}

TEST(ConfigurationTest, RootsAreRefusedWhereNobodyCanBeConfined) {
  Surroundings surroundings = ofRoot();
  surroundings.whyNoRoots = [] { return std::string("not permitted"); };
  const std::string text = kListen + client("uid:7", "roots = [\"/srv\"]\n");
  EXPECT_THAT(parseConfiguration(text, "hoqd.toml", surroundings).problems,
              ElementsAre("hoqd.toml:5: client.roots: this system lets the daemon make no mount "
                          "namespaces: not permitted"));
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

TEST(ConfigurationTest, WhatRootObeysOnlyRootMayWrite) {
  HOQ_NEEDS_ROOT("files are given away");
  const test::TempDir dir;
  const std::string file = dir / "hoqd.toml";
  std::ofstream(file) << kListen;
  const Surroundings root{"root", true};
  ASSERT_EQ(::chmod(dir.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(file.c_str(), 0644), 0);
  EXPECT_THAT(readConfiguration(file, root).problems, IsEmpty());
  const struct {
    std::string path;
    mode_t mode;
    uid_t owner;
    std::string problem;
  } rows[] = {
      {file, 0664, 0, "can be written by others"},
      {file, 0646, 0, "can be written by others"},
      {file, 0600, 1, "does not belong to root"},
      {dir.path(), 0775, 0,
       "its folder " + dir.path() + " can be written by others, so that it could be replaced"},
      {dir.path(), 0755, 1,
       "its folder " + dir.path() + " does not belong to root, so that it could be replaced"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.problem);
    ASSERT_EQ(::chown(row.path.c_str(), row.owner, 0), 0);
    ASSERT_EQ(::chmod(row.path.c_str(), row.mode), 0);
    EXPECT_THAT(readConfiguration(file, root).problems, ElementsAre(file + ":1: " + row.problem));
    EXPECT_THAT(readConfiguration(file, kSurroundings).problems, IsEmpty());
    ASSERT_EQ(::chown(row.path.c_str(), 0, 0), 0);
    ASSERT_EQ(::chmod(row.path.c_str(), row.path == file ? 0644 : 0755), 0);
  }
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
