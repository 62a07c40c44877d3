#include <gtest/gtest.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQNodeIdentity.h>

#include <cstdio>
#include <set>

namespace HOQ {
namespace {

TEST(NodeIdentity, IsMadeOnceAndKept) {
  const HOQEID first = nodeEID();
  EXPECT_TRUE(first.isValid());
  EXPECT_EQ(nodeEID(), first);
}

TEST(NodeIdentity, IsTheHostsWhenItSaysSo) {
  const HOQEID before = nodeEID();
  const auto access = localAccess();
  setNodeEID(HOQEID(7, 9));
  EXPECT_EQ(nodeEID(), HOQEID(7, 9));
  EXPECT_EQ(access->getEID(), HOQEID(7, 9));
  setNodeEID(before);
  EXPECT_EQ(access->getEID(), before);
}

TEST(NodeIdentity, TheKernelHasOneNameForAllProcesses) {
  FILE* const other = ::popen("cat /proc/sys/kernel/random/boot_id", "r");
  ASSERT_NE(other, nullptr);
  char line[64] = {};
  EXPECT_NE(std::fgets(line, sizeof line, other), nullptr);
  EXPECT_EQ(::pclose(other), 0);
  EXPECT_EQ(line, kernelName() + "\n");
}

TEST(NodeIdentity, IsRandomOfTheVersionThatSaysSo) {
  std::set<std::string> seen;
  for (int turn = 0; turn < 1000; ++turn) {
    const HOQEID eid = newEID();
    EXPECT_EQ(eid.high() >> 12 & 0xF, 4u);
    EXPECT_EQ(eid.low() >> 62, 2u);
    seen.insert(toText(eid));
  }
  EXPECT_EQ(seen.size(), 1000u);
}

TEST(NodeIdentity, StandsAs32HexadecimalDigits) {
  const HOQEID eid(0x0123456789abcdef, 0xfedcba9876543210);
  EXPECT_EQ(toText(eid), "0123456789abcdeffedcba9876543210");
  EXPECT_EQ(toText(HOQEID(0, 1)), "00000000000000000000000000000001");
  for (const HOQEID& each : {eid, HOQEID(0, 1), HOQEID(1, 0), newEID()})
    EXPECT_EQ(eidFromText(toText(each)), each);
  EXPECT_EQ(eidFromText("0123456789ABCDEFFEDCBA9876543210"), eid);
}

TEST(NodeIdentity, IsNotReadFromATextOfAnotherForm) {
  const std::string good = "0123456789abcdeffedcba9876543210";
  for (const std::string& text :
       {std::string(), good.substr(1), good + "0", " " + good.substr(1), good.substr(1) + "\n",
        "0x" + good.substr(2), good.substr(1) + "g", std::string(32, '\0'), "-" + good.substr(1),
        std::string("01234567-89ab-cdef-fedc-ba9876543")})
    EXPECT_FALSE(eidFromText(text).isValid()) << text;
}

TEST(LocalAccess, LeadsHereAndOpensNoSession) {
  const auto access = localAccess();
  EXPECT_EQ(access, localAccess());
  EXPECT_EQ(access->getEID(), nodeEID());
  clearErrorMessage();
  EXPECT_FALSE(access->openSession("hoqfile_serializer"));
  EXPECT_NE(getErrorMessage(), "");
}

}  // namespace
}  // namespace HOQ
