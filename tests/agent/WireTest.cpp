#include "control/Wire.h"

#include <gtest/gtest.h>

namespace HOQ::agent {
namespace {

std::string text(std::initializer_list<int> bytes) {
  std::string result;
  for (const int byte : bytes) result.push_back(static_cast<char>(byte));
  return result;
}

TEST(WireTest, IntegersAreLittleEndianAndTextsHaveTheirLengthBefore) {
  WireWriter writer;
  writer.u8(7);
  writer.u32(0x01020304);
  writer.u64(0x0102030405060708);
  writer.i32(-2);
  writer.text("ab", 10);
  EXPECT_EQ(writer.take(), text({7, 4,    3,    2,    1,    8, 7, 6, 5, 4,   3,  2,
                                 1, 0xFE, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0, 'a', 'b'}));
}

TEST(WireTest, AWriterCutsATextAtItsLimit) {
  WireWriter writer;
  writer.text("abc", 2);
  EXPECT_EQ(writer.take(), text({2, 0, 0, 0, 'a', 'b'}));
}

TEST(WireTest, ARefusedReadConsumesNothingAndChangesNothing) {
  const struct {
    const char* name;
    std::string bytes;
    std::size_t limit;
    Read answer;
  } cases[] = {
      {"nothing", "", 9, Read::Missing},
      {"half a length", text({3, 0}), 9, Read::Missing},
      {"truncated", text({3, 0, 0, 0, 'a', 'b'}), 9, Read::Missing},
      {"giant", text({255, 255, 255, 255, 'a'}), 9, Read::TooLong},
      {"one more than the limit", text({3, 0, 0, 0, 'a', 'b', 'c'}), 2, Read::TooLong},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    WireReader reader(each.bytes);
    std::string out = "as before";
    EXPECT_EQ(reader.text(each.limit, out), each.answer);
    EXPECT_EQ(out, "as before");
    EXPECT_EQ(reader.atEnd(), each.bytes.empty());
    std::uint64_t number = 5;
    EXPECT_EQ(reader.u64(number), each.answer) << "a failed reader stays failed";
    EXPECT_EQ(number, 5u);
  }
}

TEST(WireTest, AValueBeyondItsLastIsRefused) {
  const std::string bytes = text({2});
  std::uint8_t out = 9;
  EXPECT_EQ(WireReader(bytes).upTo(1, out), Read::WrongValue);
  EXPECT_EQ(out, 9);
  EXPECT_EQ(WireReader(bytes).upTo(2, out), Read::Ok);
  EXPECT_EQ(out, 2);
}

TEST(WireTest, ACountBeyondItsLimitIsRefused) {
  const std::string bytes = text({4, 0, 0, 0});
  std::uint32_t out = 9;
  EXPECT_EQ(WireReader(bytes).count(3, out), Read::TooLong);
  EXPECT_EQ(out, 9u);
  EXPECT_EQ(WireReader(bytes).count(4, out), Read::Ok);
  EXPECT_EQ(out, 4u);
}

}  // namespace
}  // namespace HOQ::agent
