#include "tls/PlainName.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "tls/UniqueFd.h"

namespace HOQ::tls {
namespace {

TEST(PlainName, TellsTheAddressThatItWasMadeOf) {
  for (const char* address :
       {"192.0.2.1:40000", "[2001:db8:ffff:ffff:ffff:ffff:ffff:ffff]:65535", ""}) {
    const std::string name = plainName(address);
    EXPECT_EQ(addressInPlainName(name), address);
    EXPECT_NE(plainName(address), name) << "each is another";
    EXPECT_LT(name.size(), sizeof sockaddr_un().sun_path);
    EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789."), std::string::npos);
  }
  EXPECT_LT(plainName(std::string(1000, 'x')).size(), sizeof sockaddr_un().sun_path);
}

TEST(PlainName, OtherNamesTellNothing) {
  const std::string unique(8, '0');
  for (const std::string& name :
       {std::string(), std::string("hoq."), "hoq." + unique, "hoq." + unique + ".zz",
        "xxx." + unique + ".3132", std::string("/run/socket")})
    EXPECT_EQ(addressInPlainName(name), "") << name;
  EXPECT_EQ(addressInPlainName("hoq." + unique + ".3132"), "12");
}

TEST(PlainName, IsSeenFromTheOtherEnd) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const UniqueFd one(ends[0]);
  const UniqueFd other(ends[1]);
  EXPECT_EQ(addressBehind(other.get()), "");
  bindPlainName(one.get(), "192.0.2.1:40000");
  EXPECT_EQ(addressBehind(other.get()), "192.0.2.1:40000");
  EXPECT_EQ(addressBehind(one.get()), "");
  EXPECT_EQ(addressBehind(-1), "");
}

}  // namespace
}  // namespace HOQ::tls
