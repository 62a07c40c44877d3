#include <gtest/gtest.h>
#include <hoq/HOQFilerOptions.h>
#include <hoq/HOQMessageIterator.h>
#include <hoq/HOQSecurityAttributes.h>

#include <utility>

namespace HOQ {
namespace {

using Kind = HOQMessageElement::Kind;

// Elements in order: "7=text", "7:path", "7#12", "7!" without a value, "7{...}" with elements.
std::string textOf(const HOQMessage& message) {
  std::string text;
  for (const HOQMessageElement& each : message.elements) {
    text += (text.empty() ? "" : " ") + std::to_string(each.id);
    switch (each.kind) {
      case Kind::kString:
        text += "=" + each.text;
        break;
      case Kind::kPath:
        text += ":" + each.text;
        break;
      case Kind::kInt:
        text += "#" + std::to_string(each.number);
        break;
      case Kind::kEmpty:
        text += "!";
        break;
      case Kind::kChild:
        text += "{" + textOf(each.child) + "}";
        break;
    }
  }
  return text;
}

// `depth` messages, each the only element of the one above.
HOQMessage nested(int depth) {
  HOQMessage message;
  for (int level = 0; level < depth; ++level) {
    HOQMessage outer;
    outer.elements.emplace_back();
    outer.elements.back().id = 1;
    outer.elements.back().kind = Kind::kChild;
    outer.elements.back().child = std::move(message);
    message = std::move(outer);
  }
  return message;
}

TEST(Message, IsPutElementByElementInOrder) {
  HOQMessage message;
  HOQMessageIterator it(message);
  EXPECT_EQ(it.putString(std::string("a\0\xff%s", 5), 7), 0);
  EXPECT_EQ(it.putPath("/x", 3), 0);
  EXPECT_EQ(it.putInt(-5, 3), 0);
  EXPECT_EQ(it.putEmpty(2147483647), 0);
  EXPECT_EQ(textOf(message), std::string("7=a\0\xff%s 3:/x 3#-5 2147483647!", 29));
}

TEST(Message, TakesNoElementUnderTheEmptyNumberOrBelow) {
  HOQMessage message;
  HOQMessageIterator it(message);
  HOQMessageIterator child(message);
  for (const int id : {0, -1, -2147483647}) {
    EXPECT_EQ(it.putString("a", id), -1);
    EXPECT_EQ(it.putPath("a", id), -1);
    EXPECT_EQ(it.putInt(1, id), -1);
    EXPECT_EQ(it.putEmpty(id), -1);
    EXPECT_FALSE(it.openChild(id, child));
    EXPECT_EQ(it.find(id), -1);
  }
  EXPECT_TRUE(message.elements.empty());
}

TEST(Message, GivesAnElementInTheKindThatItIsOfOnly) {
  HOQMessage message;
  HOQMessageIterator it(message);
  it.putString("text", 1);
  it.putPath("path", 2);
  it.putInt(3, 3);
  it.putEmpty(4);
  HOQMessageIterator inner(message);
  ASSERT_TRUE(it.openChild(5, inner));
  inner.putInt(55, 1);

  for (int id = 1; id <= 6; ++id) {
    std::string text = "as it was";
    std::string path = "as it was";
    int number = 77;
    HOQMessageIterator child(message);
    EXPECT_EQ(it.getString(text, id), id == 1 ? 0 : -1);
    EXPECT_EQ(text, id == 1 ? "text" : "as it was");
    EXPECT_EQ(it.getPath(path, id), id == 2 ? 0 : -1);
    EXPECT_EQ(path, id == 2 ? "path" : "as it was");
    EXPECT_EQ(it.getInt(number, id), id == 3 ? 0 : -1);
    EXPECT_EQ(number, id == 3 ? 3 : 77);
    EXPECT_EQ(it.findChild(id, child), id == 5);
    EXPECT_EQ(it.find(id), id <= 5 ? 0 : -1);
    // The iterator that was handed in stays where it was when there is no child.
    EXPECT_EQ(child.getInt(number, 1), id == 5 ? 0 : -1);
  }
}

TEST(Message, GivesTheFirstOfSeveralElementsOfANumber) {
  HOQMessage message;
  HOQMessageIterator it(message);
  it.putString("first", 1);
  it.putString("second", 1);
  it.putInt(9, 2);
  it.putString("hidden", 2);
  std::string text;
  EXPECT_EQ(it.getString(text, 1), 0);
  EXPECT_EQ(text, "first");
  EXPECT_EQ(it.getString(text, 2), -1);
}

TEST(Message, ReadsAPathThroughItsReader) {
  HOQMessage message;
  HOQMessageIterator it(message);
  it.putPath("/a b", 9);
  it.putString("no path", 8);
  std::string path = "old";
  EXPECT_EQ((it.getObject<std::string, HOQFilePathReader>(path, HOQFilePathReader(), 8)), -1);
  EXPECT_EQ(path, "old");
  EXPECT_EQ((it.getObject<std::string, HOQFilePathReader>(path, HOQFilePathReader(), 9)), 0);
  EXPECT_EQ(path, "/a b");
}

TEST(Message, HoldsARecordInAChildOrBesideItsCallersElements) {
  HOQMessage message;
  HOQMessageIterator it(message);
  it.putInt(1, 10);
  EXPECT_EQ(it.putObj(HOQFilerOptions(0x41), 1260), 0);
  EXPECT_EQ(it.putObj(HOQSecurityAttributes(040755)), 0);
  EXPECT_EQ(textOf(message), "10#1 1260{1261#65} 1158#16877");

  HOQFilerOptions options(0);
  HOQSecurityAttributes attributes(0);
  EXPECT_EQ(it.getObj(options, 1260), 0);
  EXPECT_EQ(it.getObj(attributes, HOQMessageIterator::getEmptyID()), 0);
  EXPECT_EQ(options.flags, 0x41);
  EXPECT_EQ(attributes.value, 040755);
  EXPECT_EQ(it.getObj(options, 1259), -1);
}

TEST(Message, CarriesEveryBitOfTheSmallRecords) {
  for (const int word : {0, 1, 0x7F, 0x40000000, 0x7FFFFFFF, -1, -2147483647 - 1}) {
    HOQMessage message;
    HOQMessageIterator it(message);
    it.putObj(HOQFilerOptions(word));
    it.putObj(HOQSecurityAttributes(word));
    HOQFilerOptions options(5);
    HOQSecurityAttributes attributes(5);
    EXPECT_EQ(it.getObj(options), 0);
    EXPECT_EQ(it.getObj(attributes), 0);
    EXPECT_EQ(options.flags, word);
    EXPECT_EQ(attributes.value, word);
  }
}

TEST(Message, LeavesARecordAsItWasWhereItsElementIsNotThere) {
  HOQMessage message;
  HOQMessageIterator it(message);
  it.putString("not a number", HOQSecurityAttributes::kModeElement);
  HOQFilerOptions options(3);
  HOQSecurityAttributes attributes(0644);
  EXPECT_EQ(it.getObj(options), 0);
  EXPECT_EQ(it.getObj(attributes), 0);
  EXPECT_EQ(options.flags, 3);
  EXPECT_EQ(attributes.value, 0644);
}

TEST(Message, NumbersTheSmallRecordsApartFromWhatStandsBesideThem) {
  for (const int taken : {1156, 1260, 1157, 1154, 1422, 1026, 1161}) {
    EXPECT_NE(HOQFilerOptions::kFlagsElement, taken);
    EXPECT_NE(HOQSecurityAttributes::kModeElement, taken);
  }
  EXPECT_NE(HOQFilerOptions::kFlagsElement, HOQSecurityAttributes::kModeElement);
}

TEST(Message, IsPutNoDeeperThanItsLimit) {
  HOQMessage message;
  HOQMessageIterator it(message);
  int depth = 1;
  while (it.openChild(1, it)) ++depth;
  EXPECT_EQ(depth, HOQMessage::kMaxDepth);
  EXPECT_EQ(it.putInt(5, 2), 0);
  EXPECT_FALSE(message.isTooDeep());

  HOQMessageIterator reader(message);
  for (int level = 1; level < depth; ++level) ASSERT_TRUE(reader.findChild(1, reader));
  int number = 0;
  EXPECT_EQ(reader.getInt(number, 2), 0);
  EXPECT_FALSE(reader.findChild(1, reader));
}

TEST(Message, IsReadNoDeeperThanItsLimit) {
  HOQMessage message = nested(HOQMessage::kMaxDepth + 1);
  HOQMessageIterator it(message);
  int depth = 1;
  while (it.findChild(1, it)) ++depth;
  EXPECT_EQ(depth, HOQMessage::kMaxDepth);
}

TEST(Message, TellsWhenItIsTooDeep) {
  EXPECT_FALSE(HOQMessage().isTooDeep());
  EXPECT_FALSE(nested(HOQMessage::kMaxDepth).isTooDeep());
  EXPECT_TRUE(nested(HOQMessage::kMaxDepth + 1).isTooDeep());

  HOQMessage wide;
  for (int i = 0; i < 1000; ++i) {
    wide.elements.emplace_back();
    wide.elements.back().child = nested(HOQMessage::kMaxDepth - 1);
  }
  EXPECT_FALSE(wide.isTooDeep());
  wide.elements[500].child = nested(HOQMessage::kMaxDepth);
  EXPECT_TRUE(wide.isTooDeep());
}

TEST(Message, GoesWithoutRecursionHoweverDeep) {
  constexpr int kLevels = 300'000;
  HOQMessage deep = nested(kLevels);
  EXPECT_TRUE(deep.isTooDeep());
  deep = nested(2);
  HOQMessage moved = nested(kLevels);
  deep = std::move(moved);
  EXPECT_EQ(deep.elements.size(), 1u);
}

}  // namespace
}  // namespace HOQ
