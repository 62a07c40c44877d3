#include "codec/Elements.h"

#include <gtest/gtest.h>
#include <hoq/v1/records.pb.h>

namespace HOQ::transport {
namespace {

using Kind = HOQMessageElement::Kind;

HOQMessage nested(int levels) {
  HOQMessage message;
  for (int level = 1; level < levels; ++level) {
    HOQMessageElement element;
    element.id = level;
    element.kind = Kind::kChild;
    element.child = std::move(message);
    message = HOQMessage();
    message.elements.push_back(std::move(element));
  }
  return message;
}

TEST(Elements, CarryEveryKindInOrder) {
  HOQMessage message;
  message.elements = {{1, Kind::kString, "a\xff\n", 0, {}},
                      {2, Kind::kPath, "/p", 0, {}},
                      {3, Kind::kInt, "", -2147483647 - 1, {}},
                      {4, Kind::kEmpty, "", 0, {}},
                      {1, Kind::kString, "", 0, {}},
                      {5, Kind::kChild, "", 0, nested(3)}};
  hoq::v1::ElementMessage wire;
  ASSERT_TRUE(toWire(message, wire));
  HOQMessage back;
  ASSERT_TRUE(fromWire(wire, back));
  ASSERT_EQ(back.elements.size(), message.elements.size());
  for (std::size_t i = 0; i < back.elements.size(); ++i) {
    EXPECT_EQ(back.elements[i].id, message.elements[i].id);
    EXPECT_EQ(back.elements[i].kind, message.elements[i].kind);
    EXPECT_EQ(back.elements[i].text, message.elements[i].text);
    EXPECT_EQ(back.elements[i].number, message.elements[i].number);
  }
  ASSERT_EQ(back.elements[5].child.elements.size(), 1u);
  EXPECT_EQ(back.elements[5].child.elements[0].id, 2);
  EXPECT_EQ(back.elements[5].child.elements[0].child.elements[0].id, 1);
}

/// The numbers are what other programs are made for.
TEST(Elements, StandOnTheWireAsTheyAlwaysDid) {
  HOQMessage message;
  message.elements = {{1161, Kind::kEmpty, "", 0, {}},
                      {1154, Kind::kPath, "p", 0, {}},
                      {1422, Kind::kInt, "", -1, {}},
                      {1026, Kind::kString, "n", 0, {}}};
  hoq::v1::ElementMessage wire;
  ASSERT_TRUE(toWire(message, wire));
  EXPECT_EQ(wire.SerializeAsString(), std::string("\x0a\x05\x08\x89\x09\x12\x00"
                                                  "\x0a\x06\x08\x82\x09\x22\x01p"
                                                  "\x0a\x05\x08\x8e\x0b\x28\x01"
                                                  "\x0a\x06\x08\x82\x08\x1a\x01n",
                                                  7 + 8 + 7 + 8));
}

TEST(Elements, AreRefusedWhenTheyAreNestedTooDeep) {
  hoq::v1::ElementMessage wire;
  EXPECT_TRUE(toWire(nested(kDeepestMessage), wire));
  HOQMessage back;
  EXPECT_TRUE(fromWire(wire, back));
  hoq::v1::ElementMessage deeper;
  EXPECT_FALSE(toWire(nested(kDeepestMessage + 1), deeper));
  hoq::v1::ElementMessage outer;
  outer.add_elements()->set_id(1);
  *outer.mutable_elements(0)->mutable_child() = wire;
  EXPECT_FALSE(fromWire(outer, back));
}

TEST(Elements, WithoutANumberOrAValueAreRefused) {
  HOQMessage back;
  hoq::v1::ElementMessage wire;
  wire.add_elements()->set_id(1);
  EXPECT_FALSE(fromWire(wire, back)) << "no value";
  wire.mutable_elements(0)->set_text("t");
  EXPECT_TRUE(fromWire(wire, back));
  for (const int id : {0, -1}) {
    wire.mutable_elements(0)->set_id(id);
    EXPECT_FALSE(fromWire(wire, back)) << id;
  }
}

}  // namespace
}  // namespace HOQ::transport
