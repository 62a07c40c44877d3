// Other hosts are compiled against these classes: their virtual operations keep this order.
#include <gtest/gtest.h>
#include <hoq/HOQFileDownloadInfo.h>
#include <hoq/HOQFileUploadInfo.h>
#include <hoq/HOQFiler.h>
#include <hoq/HOQHaulControl.h>
#include <hoq/HOQRequestModificatorLocal.h>

#include "support/SlotProbe.h"

namespace HOQ {
namespace {

using test::slotOf;

TEST(SlotOrder, OfTheRequestFrame) {
  EXPECT_EQ(slotOf(&HOQRequest::createContext), 2);
  EXPECT_EQ(slotOf(&HOQRequestModificator::beginTransaction), 3);
  EXPECT_EQ(slotOf(&HOQRequestModificator::endTransaction), 4);
  EXPECT_EQ(slotOf(&HOQRequestModificator::remote), 5);
  EXPECT_EQ(slotOf(&HOQRequestModificator::exclusive), 6);
  EXPECT_EQ(slotOf(&HOQRequestModificator::connection), 7);
  EXPECT_EQ(slotOf(&HOQRequestModificator::session), 8);
  EXPECT_EQ(slotOf(&HOQRequestModificator::sync), -1);
}

TEST(SlotOrder, OfTheFiler) {
  using Copy =
      int (HOQFiler::*)(const HOQFiler::Paths&, const std::string&, const HOQFilerOptions&);
  using CopyToNode =
      int (HOQFiler::*)(const HOQFiler::Paths&, const HOQConnectionInfo&, const std::string&,
                        const HOQFilerOptions&, const HOQSecurityAttributes*);
  using ChownByName = int (HOQFiler::*)(const HOQFiler::Paths&, const std::string&,
                                        const std::string&, const HOQFilerOptions&);
  using ChownById =
      int (HOQFiler::*)(const HOQFiler::Paths&, unsigned int, unsigned int, const HOQFilerOptions&);
  EXPECT_EQ(slotOf(&HOQFiler::list), 2);
  EXPECT_EQ(slotOf(&HOQFiler::remove), 3);
  EXPECT_EQ(slotOf(static_cast<CopyToNode>(&HOQFiler::copy)), 4);
  EXPECT_EQ(slotOf(static_cast<Copy>(&HOQFiler::copy)), 5);
  EXPECT_EQ(slotOf(&HOQFiler::move), 6);
  EXPECT_EQ(slotOf(&HOQFiler::upload), 7);
  EXPECT_EQ(slotOf(&HOQFiler::download), 8);
  EXPECT_EQ(slotOf(&HOQFiler::chmod), 9);
  EXPECT_EQ(slotOf(static_cast<ChownByName>(&HOQFiler::chown)), 10);
  EXPECT_EQ(slotOf(static_cast<ChownById>(&HOQFiler::chown)), 11);
  EXPECT_EQ(slotOf(&HOQFiler::link), 12);
  EXPECT_EQ(slotOf(&HOQFiler::stat), 13);
  EXPECT_EQ(slotOf(&HOQFiler::readlink), 14);
  EXPECT_EQ(slotOf(&HOQFiler::search), 15);
  EXPECT_EQ(slotOf(&HOQFiler::mkdir), 16);
}

TEST(SlotOrder, OfTheTransferRecords) {
  EXPECT_EQ(slotOf(&HOQFileTransferInfo::start), 2);
  EXPECT_EQ(slotOf(&HOQFileTransferInfo::close), 3);
  EXPECT_EQ(slotOf(&HOQFileTransferInfo::abort), 4);
  EXPECT_EQ(slotOf(&HOQFileTransferInfo::getSource), 5);
  EXPECT_EQ(slotOf(&HOQFileTransferInfo::getDestination), 6);
  EXPECT_EQ(slotOf(&HOQFileUploadInfo::data), 7);
  EXPECT_EQ(slotOf(&HOQFileDownloadInfo::append), 7);
}

TEST(SlotOrder, OfAChannelsEndStartsWithItsThreeOperations) {
  EXPECT_EQ(slotOf(&HOQChannelEndPrototype::read), 0);
  EXPECT_EQ(slotOf(&HOQChannelEndPrototype::write), 1);
  EXPECT_EQ(slotOf(&HOQChannelEndPrototype::close), 2);
}

TEST(SlotOrder, OfTheEndsOfTransfers) {
  EXPECT_EQ(slotOf(&HOQHaulSerializerPrototype::copy), 2);
  EXPECT_EQ(slotOf(&HOQHaulDeserializerPrototype::startCopying), 2);
  EXPECT_EQ(slotOf(&HOQHaulDeserializerPrototype::waitCopyingFinish), 3);
}

// What a control of its own kind of transfer overrides.
class Control : public HOQHaulControl {
 public:
  using HOQHaulControl::createDeserializer;
  using HOQHaulControl::createSerializer;
  using HOQHaulControl::process;
};

TEST(SlotOrder, OfATransfersControlContinuesTheRequestFrames) {
  EXPECT_EQ(slotOf(&Control::process), 9);
  EXPECT_EQ(slotOf(&Control::createSerializer), 10);
  EXPECT_EQ(slotOf(&Control::createDeserializer), 11);
}

// As the local Filer is laid out.
class Frame : public HOQRequestModificatorLocal<HOQFiler> {
 public:
  using HOQRequestModificatorLocal::HOQRequestModificatorLocal;
  virtual void own() {}
};

TEST(SlotOrder, OfALocalImplementationContinuesTheRequestFrames) {
  EXPECT_EQ(slotOf(&Frame::own), 9);
  Frame frame{HOQAccessProviderPtr()};
  EXPECT_EQ(static_cast<const void*>(&frame),
            static_cast<const void*>(static_cast<const HOQRequest*>(&frame)));
}

}  // namespace
}  // namespace HOQ
