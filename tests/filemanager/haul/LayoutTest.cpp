// Hosts are compiled against the transfer's classes: their bases, slots and fields.
#include <gtest/gtest.h>

#include <type_traits>

#include "haul/HOQFileControl.h"
#include "haul/HOQFileDeserializerAgentPrototype.h"
#include "haul/HOQFileDeserializerLocalPrototype.h"
#include "haul/HOQFileSerializerAgentPrototype.h"
#include "haul/HOQFileSerializerLocalPrototype.h"
#include "support/MemberProbe.h"
#include "support/SlotProbe.h"

namespace HOQ::test {
namespace {

template <class Worker>
constexpr bool isPlainRecord =
    !std::is_polymorphic_v<Worker> && std::is_base_of_v<HOQRequestErrorData, Worker>;
static_assert(isPlainRecord<HOQFileSender>);
static_assert(isPlainRecord<HOQFileReceiver>);

static_assert(std::is_base_of_v<HOQFunctional, HOQHaulSerializerPrototype>);
static_assert(std::is_base_of_v<HOQHaulSerializerBasePrototype, HOQHaulSerializerPrototype>);
static_assert(std::is_base_of_v<HOQFunctional, HOQHaulDeserializerPrototype>);
static_assert(std::is_base_of_v<HOQHaulSerializerBasePrototype, HOQHaulDeserializerPrototype>);
static_assert(
    std::is_base_of_v<HOQHaulSerializerBaseLocalPrototype, HOQFileSerializerLocalPrototype>);
static_assert(
    std::is_base_of_v<HOQHaulSerializerBaseLocalPrototype, HOQFileDeserializerLocalPrototype>);
static_assert(
    std::is_base_of_v<HOQHaulSerializerBaseAgentPrototype, HOQFileSerializerAgentPrototype>);
static_assert(
    std::is_base_of_v<HOQHaulSerializerBaseAgentPrototype, HOQFileDeserializerAgentPrototype>);
static_assert(std::is_base_of_v<HOQHaulControl, HOQFileControl>);
static_assert(std::is_base_of_v<HOQHaulSerializerBaseParams, HOQFileSerializerParams>);
static_assert(std::is_base_of_v<HOQHaulSerializerBaseParams, HOQFileDeserializerParams>);

TEST(HaulLayout, TheControlsOperationsFollowTheRequestsInOrder) {
  int slot = slotOf(&HOQRequestModificator::session) + 1;
  EXPECT_EQ(slotOf(&HOQFileControl::process), slot++);
  EXPECT_EQ(slotOf(&HOQFileControl::createSerializer), slot++);
  EXPECT_EQ(slotOf(&HOQFileControl::createDeserializer), slot++);
  EXPECT_EQ(slotOf(&HOQFileControl::setAccess), slot++);
  EXPECT_EQ(slotOf(&HOQFileControl::getThis), slot++);
}

TEST(HaulLayout, TheEndsOperationsFollowTheDestructor) {
  EXPECT_EQ(slotOf(&HOQHaulSerializerPrototype::copy), 2);
  EXPECT_EQ(slotOf(&HOQHaulDeserializerPrototype::startCopying), 2);
  EXPECT_EQ(slotOf(&HOQHaulDeserializerPrototype::waitCopyingFinish), 3);
}

TEST(HaulLayout, AChannelsEndBeginsWithItsThreeOperations) {
  EXPECT_EQ(slotOf(&HOQChannelEndPrototype::read), 0);
  EXPECT_EQ(slotOf(&HOQChannelEndPrototype::write), 1);
  EXPECT_EQ(slotOf(&HOQChannelEndPrototype::close), 2);
}

HOQ_PROBE_MEMBER(SenderChannel, HOQFileSender, channel, HOQChannelEndPtr);
HOQ_PROBE_MEMBER(SenderRoutine, HOQFileSender, routine, boost::shared_ptr<HOQFileRoutine>);
HOQ_PROBE_MEMBER(SenderThread, HOQFileSender, thread, pthread_t);
HOQ_PROBE_MEMBER(SenderClose, HOQFileSender, closeOnFinish, bool);

TEST(HaulLayout, AWorkersRecordIsItsFirstPart) {
  const HOQFileSender one;
  EXPECT_EQ(offsetIn(one, one.code), 0U);
  EXPECT_LT(offsetIn(one, one.message), offsetIn(one, one.*memberOf(SenderChannel())));
  EXPECT_LT(offsetIn(one, one.*memberOf(SenderChannel())),
            offsetIn(one, one.*memberOf(SenderRoutine())));
  EXPECT_LT(offsetIn(one, one.*memberOf(SenderRoutine())),
            offsetIn(one, one.*memberOf(SenderThread())));
  EXPECT_LT(offsetIn(one, one.*memberOf(SenderThread())),
            offsetIn(one, one.*memberOf(SenderClose())));
  EXPECT_EQ(one.code, 0);
  EXPECT_EQ(one.message, "");
  EXPECT_FALSE(one.*memberOf(SenderChannel()));
  EXPECT_FALSE(one.*memberOf(SenderClose()));
}

}  // namespace
}  // namespace HOQ::test
