// How the parameters of a transfer stand in messages between nodes.
#include <gtest/gtest.h>
#include <hoq/HOQMessageIterator.h>

#include <string>
#include <vector>

#include "haul/HOQFileDeserializerParams.h"
#include "haul/HOQFileSerializerParams.h"
#include "support/MemberProbe.h"

namespace HOQ::test {
namespace {

using Kind = HOQMessageElement::Kind;

/// A message in one line: "1156s'text' 1260{1i5}", with "s" a string, "p" a path, "i" an integer,
/// "-" an empty element.
std::string told(const HOQMessage& message) {
  std::string line;
  for (const HOQMessageElement& element : message.elements) {
    line += (line.empty() ? "" : " ") + std::to_string(element.id);
    switch (element.kind) {
      case Kind::kEmpty:
        line += "-";
        break;
      case Kind::kString:
        line += "s'" + element.text + "'";
        break;
      case Kind::kPath:
        line += "p'" + element.text + "'";
        break;
      case Kind::kInt:
        line += "i" + std::to_string(element.number);
        break;
      case Kind::kChild:
        line += "{" + told(element.child) + "}";
        break;
    }
  }
  return line;
}

template <class Params>
std::string written(const Params& params, int id = 0) {
  HOQMessage message;
  HOQMessageIterator it(message);
  EXPECT_EQ(it.putObj(params, id), 0);
  return told(message);
}

HOQFileDeserializerParams deserializing(int options, int depth, const std::string& name,
                                        bool isRegular, int mode = 0777) {
  HOQFileDeserializerParams params("/w", "d/e", HOQFilerOptions(options), depth, name, isRegular);
  params.security = HOQSecurityAttributes(mode);
  return params;
}

TEST(TransferParams, TheSendingEndsElementsStandInOrder) {
  const struct {
    std::string srcPath;
    int options;
    std::string elements;
  } rows[] = {
      {"/a/b", 0, "1156s'/a/b' 1260{1261i0}"},
      {"", 0x7F, "1156s'' 1260{1261i127}"},
      {"100%s\n", -1, "1156s'100%s\n' 1260{1261i-1}"},
  };
  for (const auto& row : rows) {
    const HOQFileSerializerParams params(row.srcPath, HOQFilerOptions(row.options));
    EXPECT_EQ(written(params), row.elements);
    EXPECT_EQ(written(params, 7), "7{" + row.elements + "}");
  }
}

TEST(TransferParams, TheReceivingEndsElementsStandInOrder) {
  const struct {
    HOQFileDeserializerParams params;
    std::string elements;
  } rows[] = {
      {deserializing(0x3, 2, "f", true),
       "1157s'/w' 1154p'd/e' 1260{1261i3} 1422i2 1026s'f' 1158i511 1161-"},
      {deserializing(0, 0, "", false, 040755),
       "1157s'/w' 1154p'd/e' 1260{1261i0} 1422i0 1026s'' 1158i16877"},
      {deserializing(0x7FFFFFFF, -1, "x", false),
       "1157s'/w' 1154p'd/e' 1260{1261i2147483647} 1422i-1 1026s'x' 1158i511"},
  };
  for (const auto& row : rows) EXPECT_EQ(written(row.params), row.elements);
}

// It is a child's, so that what lists the texts of a message does not take it for a path.
TEST(TransferParams, WhichFileIsSentIsSaidLastAndOnlyWhereItIsKnown) {
  HOQFileDeserializerParams params = deserializing(0, 0, "f", true);
  params.source = "k:1:2";
  EXPECT_EQ(written(params),
            "1157s'/w' 1154p'd/e' 1260{1261i0} 1422i0 1026s'f' 1158i511 1161- 1423{1424s'k:1:2'}");
  for (const char* source : {"", "k:1:2"}) {
    HOQMessage message;
    HOQMessageIterator it(message);
    params.source = source;
    (void)it.putObj(params);
    HOQFileDeserializerParams back("o", "o", HOQFilerOptions(0), 9, "o", false);
    EXPECT_EQ(it.getObj(back), 0);
    EXPECT_EQ(back.source, source);
  }
}

TEST(TransferParams, AFilesIdentityTellsItFromAllOthers) {
  struct stat file {};
  file.st_dev = 7;
  file.st_ino = 8;
  struct stat other = file;
  const auto identity = HOQFileDeserializerParams::identityOf;
  EXPECT_NE(identity(file), "");
  EXPECT_EQ(identity(file), identity(other));
  other.st_ino = 9;
  EXPECT_NE(identity(file), identity(other));
  other = file;
  other.st_dev = 9;
  EXPECT_NE(identity(file), identity(other));
}

TEST(TransferParams, TheSendingEndsComeBackAsTheyWere) {
  for (const int options : {0, 0x1, 0x2, 0x7E, 0x40000000, -1}) {
    HOQMessage message;
    HOQMessageIterator it(message);
    (void)it.putObj(HOQFileSerializerParams("/a\n\xff/b", HOQFilerOptions(options)));
    HOQFileSerializerParams back("old", HOQFilerOptions(5));
    EXPECT_EQ(it.getObj(back), 0);
    EXPECT_EQ(back.srcPath, "/a\n\xff/b");
    EXPECT_EQ(back.options.flags, options);
  }
}

TEST(TransferParams, TheReceivingEndsComeBackAsTheyWere) {
  for (const bool isRegular : {false, true})
    for (const int depth : {0, 3})
      for (const char* name : {"", "a b"}) {
        HOQMessage message;
        HOQMessageIterator it(message);
        (void)it.putObj(deserializing(0x81, depth, name, isRegular, 0100640));
        HOQFileDeserializerParams back("o", "o", HOQFilerOptions(0), 9, "o", !isRegular);
        EXPECT_EQ(it.getObj(back), 0);
        EXPECT_EQ(back.cwd, "/w");
        EXPECT_EQ(back.dstPath, "d/e");
        EXPECT_EQ(back.options.flags, 0x81);
        EXPECT_EQ(back.depth, depth);
        EXPECT_EQ(back.name, name);
        EXPECT_EQ(back.security.value, 0100640);
        EXPECT_EQ(back.isRegular, isRegular);
      }
}

/// Every element but the `left`-th.
HOQMessage without(const HOQMessage& whole, std::size_t left) {
  HOQMessage message = whole;
  message.elements.erase(message.elements.begin() + static_cast<std::ptrdiff_t>(left));
  return message;
}

// What is missing, or of another kind, leaves the field as it was, and is not told.
TEST(TransferParams, AMissingElementLeavesItsFieldAsItWas) {
  HOQMessage whole;
  HOQMessageIterator put(whole);
  (void)put.putObj(deserializing(0x1, 4, "new", true, 0600));
  ASSERT_EQ(whole.elements.size(), 7U);
  for (std::size_t left = 0; left < whole.elements.size(); ++left) {
    SCOPED_TRACE(whole.elements[left].id);
    HOQMessage message = without(whole, left);
    HOQFileDeserializerParams back("oldCwd", "oldPath", HOQFilerOptions(8), 9, "old", false);
    EXPECT_EQ(HOQMessageIterator(message).getObj(back), 0);
    EXPECT_EQ(back.cwd, left == 0 ? "oldCwd" : "/w");
    EXPECT_EQ(back.dstPath, left == 1 ? "oldPath" : "d/e");
    EXPECT_EQ(back.options.flags, left == 2 ? 8 : 1);
    EXPECT_EQ(back.depth, left == 3 ? 9 : 4);
    EXPECT_EQ(back.name, left == 4 ? "old" : "new");
    EXPECT_EQ(back.security.value, left == 5 ? 0777 : 0600);
    EXPECT_EQ(back.isRegular, left != 6);
  }
}

TEST(TransferParams, AnElementOfAnotherKindLeavesItsFieldAsItWas) {
  HOQMessage message;
  HOQMessageIterator it(message);
  (void)it.putInt(1, 1157);
  (void)it.putString("/p", 1154);  // a string is no path
  (void)it.putInt(1, 1260);
  (void)it.putString("1", 1422);
  (void)it.putPath("n", 1026);
  (void)it.putEmpty(1158);
  (void)it.putInt(0, 1161);  // that it is there counts
  HOQFileDeserializerParams back("c", "p", HOQFilerOptions(8), 9, "n0", false);
  EXPECT_EQ(it.getObj(back), 0);
  EXPECT_EQ(back.cwd, "c");
  EXPECT_EQ(back.dstPath, "p");
  EXPECT_EQ(back.options.flags, 8);
  EXPECT_EQ(back.depth, 9);
  EXPECT_EQ(back.name, "n0");
  EXPECT_EQ(back.security.value, 0777);
  EXPECT_TRUE(back.isRegular);

  HOQFileSerializerParams sending("s", HOQFilerOptions(3));
  HOQMessage empty;
  EXPECT_EQ(HOQMessageIterator(empty).getObj(sending), 0);
  EXPECT_EQ(sending.srcPath, "s");
  EXPECT_EQ(sending.options.flags, 3);
}

TEST(TransferParams, FreshReceivingOnesLetEverybodyDoEverything) {
  const HOQFileDeserializerParams params("", "", HOQFilerOptions(0), 0, "", true);
  EXPECT_EQ(params.security.value, 0777);
}

TEST(TransferParams, FieldsStandInOrder) {
  const HOQFileSerializerParams s("", HOQFilerOptions(0));
  EXPECT_LT(offsetIn(s, s.srcPath), offsetIn(s, s.options));
  const HOQFileDeserializerParams d("", "", HOQFilerOptions(0), 0, "", true);
  const std::vector<std::size_t> offsets = {
      offsetIn(d, d.cwd),  offsetIn(d, d.dstPath),  offsetIn(d, d.options),  offsetIn(d, d.depth),
      offsetIn(d, d.name), offsetIn(d, d.security), offsetIn(d, d.isRegular)};
  EXPECT_TRUE(std::is_sorted(offsets.begin(), offsets.end()));
}

}  // namespace
}  // namespace HOQ::test
