#include "haul/HOQFileSerializerLocalPrototype.h"

#include <boost/smart_ptr/make_shared.hpp>

#include "filemanager/haul/HaulFixture.h"
#include "support/ResourceCount.h"

namespace HOQ::test {
namespace {

class SerializerLocal : public HaulFixture {
 protected:
  boost::intrusive_ptr<HOQFileSerializerLocalPrototype> serializing(const std::string& path,
                                                                    int options = 0) const {
    boost::intrusive_ptr<HOQFileSerializerLocalPrototype> made(
        new HOQFileSerializerLocalPrototype(HOQAccessProviderPtr()));
    EXPECT_EQ(made->init(HOQConnectionInfo{"local:"},
                         boost::make_shared<HOQFileSerializerParams>(path, options)),
              0);
    EXPECT_EQ(made->create(), 0);
    return made;
  }

  const ScriptedEndPtr end{new ScriptedEnd};
};

TEST_F(SerializerLocal, SendsTheFile) {
  const std::string text = variedText(10000);
  write("f", text);
  const auto one = serializing(dir / "f");
  EXPECT_EQ(one->copy(end), 0);
  EXPECT_TRUE(end->outgoing == sizeHeader(text.size()) + text);
  EXPECT_EQ(end->closes, 0);
  EXPECT_EQ(one->finish(), 0);
  EXPECT_FALSE(end->givenUp());
}

TEST_F(SerializerLocal, DoesNotLookAtTheOptions) {
  write("f", "text");
  for (const int options : {0, 0x1, 0x4, 0x7F}) {
    const ScriptedEndPtr fresh(new ScriptedEnd);
    EXPECT_EQ(serializing(dir / "f", options)->copy(fresh), 0);
    EXPECT_EQ(fresh->outgoing, sizeHeader(4) + "text");
  }
  trees::make(dir.path(), "l->f");
  EXPECT_EQ(serializing(dir / "l", 0x4)->copy(end), 0);  // links are not followed, asked or not
  EXPECT_EQ(getErrorMessage(), "Cannot copy link");
}

TEST_F(SerializerLocal, WhatCannotBeSentIsToldToBothSides) {
  trees::make(dir.path(), "p| s~");
  for (const char* item : {"nope", "p", "s", "no/f"}) {
    clearErrorMessage();
    const ScriptedEndPtr fresh(new ScriptedEnd);
    EXPECT_EQ(serializing(dir / item)->copy(fresh), -1) << item;
    EXPECT_EQ(getErrorMessage(), "Cannot open file to read");
    EXPECT_EQ(fresh->texts, std::vector<std::string>{"Cannot open file to read"});
    EXPECT_TRUE(fresh->pieces.empty());
  }
}

TEST_F(SerializerLocal, AnEmptyEndIsRefused) {
  write("f", "1");
  EXPECT_EQ(serializing(dir / "f")->copy(nullptr), -1);
  EXPECT_EQ(getErrorMessage(), "");
}

TEST_F(SerializerLocal, LeavesNoDescriptorWhateverFails) {
  write("f", variedText(9000));
  trees::make(dir.path(), "d/ l->f");
  const ResourceCount before;
  for (const char* item : {"f", "d", "l", "nope"})
    for (int n = 1; n <= 4; ++n) {
      const ScriptedEndPtr bad(new ScriptedEnd);
      bad->failingWrite = n;
      const auto one = serializing(dir / item);
      (void)one->copy(bad);
      EXPECT_EQ(before.difference(), "") << item << ", write " << n;
    }
}

TEST_F(SerializerLocal, FinishLetsTheEndGo) {
  write("f", "1");
  const auto one = serializing(dir / "f");
  EXPECT_EQ(one->copy(end), 0);
  EXPECT_GT(end->use_count(), 1U);
  EXPECT_EQ(one->finish(), 0);
  EXPECT_EQ(end->use_count(), 1U);
  EXPECT_EQ(one->finish(), 0);
}

TEST_F(SerializerLocal, ParametersAreRequired) {
  HOQFileSerializerLocalPrototype one{HOQAccessProviderPtr()};
  EXPECT_NE(one.init(HOQConnectionInfo(), nullptr), 0);
  EXPECT_NE(getErrorMessage(), "");
}

TEST_F(SerializerLocal, AMessageFillsAFreshRecord) {
  HOQMessage message;
  HOQMessageIterator it(message);
  (void)it.putObj(HOQFileSerializerParams("/s", HOQFilerOptions(6)));
  HOQFileSerializerLocalPrototype one{HOQAccessProviderPtr()};
  const HOQHaulParamsPtr params = one.createParams();
  EXPECT_EQ(one.readParams(it, *params), 0);
  const auto& record = dynamic_cast<const HOQFileSerializerParams&>(*params);
  EXPECT_EQ(record.srcPath, "/s");
  EXPECT_EQ(record.options.flags, 6);
  for (const HOQRequiredElement& required : one.requiredElements()) {
    const HOQMessageElement* const element = elementOf(message, required.id, required.within);
    ASSERT_NE(element, nullptr) << required.id;
    EXPECT_EQ(element->kind, required.kind) << required.id;
  }
  EXPECT_EQ(one.requiredElements().size(), message.elements.size() + 1);  // and the options' flags
}

}  // namespace
}  // namespace HOQ::test
