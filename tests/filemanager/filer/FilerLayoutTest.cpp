// Hosts are compiled against the Filer's bases, slots and fields.
#include <gtest/gtest.h>
#include <hoq/HOQRequestModificatorLocal.h>

#include <string>
#include <type_traits>

#include "filer/HOQFilerLocal.h"
#include "support/MemberProbe.h"
#include "support/SlotProbe.h"

namespace HOQ::test {
namespace {

using F = HOQFilerLocal;
using Paths = HOQFiler::Paths;
using Options = HOQFilerOptions;

static_assert(std::is_base_of_v<HOQRequestModificatorLocal<HOQFiler>, F>);
static_assert(std::is_base_of_v<HOQRequestModificatorImpl<HOQFiler>, F>);
static_assert(std::is_base_of_v<HOQRequestLocal, F>);
static_assert(std::is_base_of_v<HOQRequestModificator, F>);
static_assert(std::is_base_of_v<HOQRequest, F>);
static_assert(std::is_base_of_v<HOQFiler, F>);
static_assert(std::is_base_of_v<HOQFilerBase, HOQFiler>);
static_assert(std::is_base_of_v<HOQFunctional, HOQFilerBase>);
static_assert(std::is_abstract_v<HOQFiler>);
static_assert(sizeof(HOQFilerBase) == sizeof(HOQFunctional), "no fields of its own");
static_assert(sizeof(F) == sizeof(HOQRequestModificatorLocal<HOQFiler>) + sizeof(HOQFiler),
              "no fields of its own");
// A pointer to a virtual base cannot be turned back without asking the object.
template <class To, class From>
concept StaticallyCastable = requires(From* from) {
  static_cast<To*>(from);
};
static_assert(!StaticallyCastable<F, HOQFiler>, "HOQFiler is a virtual base");
static_assert(StaticallyCastable<F, HOQRequestModificatorLocal<HOQFiler>>);

TEST(FilerLayout, TheRequestsFrameIsTheFirstBase) {
  F filer{HOQAccessProviderPtr()};
  const void* whole = &filer;
  EXPECT_EQ(static_cast<const void*>(static_cast<HOQRequestModificatorLocal<HOQFiler>*>(&filer)),
            whole);
  EXPECT_EQ(static_cast<const void*>(static_cast<HOQRequestLocal*>(&filer)), whole);
  EXPECT_EQ(static_cast<const void*>(static_cast<HOQRequestModificator*>(&filer)), whole);
  EXPECT_EQ(static_cast<const void*>(static_cast<HOQRequest*>(&filer)), whole);
  EXPECT_NE(static_cast<const void*>(static_cast<HOQFiler*>(&filer)), whole);
}

using CopyToNode = int (F::*)(const Paths&, const HOQConnectionInfo&, const std::string&,
                              const Options&, const HOQSecurityAttributes*);
using Copy = int (F::*)(const Paths&, const std::string&, const Options&);
using ChownByNames = int (F::*)(const Paths&, const std::string&, const std::string&,
                                const Options&);
using ChownByIds = int (F::*)(const Paths&, unsigned int, unsigned int, const Options&);

TEST(FilerLayout, OperationsFollowTheFramesSlotsInOrder) {
  int slot = 2;  // the destructor takes the first two entries
  EXPECT_EQ(slotOf(&HOQRequest::createContext), slot++);
  EXPECT_EQ(slotOf(&HOQRequestModificator::beginTransaction), slot++);
  EXPECT_EQ(slotOf(&HOQRequestModificator::endTransaction), slot++);
  EXPECT_EQ(slotOf(&HOQRequestModificator::remote), slot++);
  EXPECT_EQ(slotOf(&HOQRequestModificator::exclusive), slot++);
  EXPECT_EQ(slotOf(&HOQRequestModificator::connection), slot++);
  EXPECT_EQ(slotOf(&HOQRequestModificator::session), slot++);
  EXPECT_EQ(slotOf(&F::list), slot++);
  EXPECT_EQ(slotOf(&F::remove), slot++);
  EXPECT_EQ(slotOf<CopyToNode>(&F::copy), slot++);
  EXPECT_EQ(slotOf<Copy>(&F::copy), slot++);
  EXPECT_EQ(slotOf(&F::move), slot++);
  EXPECT_EQ(slotOf(&F::upload), slot++);
  EXPECT_EQ(slotOf(&F::download), slot++);
  EXPECT_EQ(slotOf(&F::chmod), slot++);
  EXPECT_EQ(slotOf<ChownByNames>(&F::chown), slot++);
  EXPECT_EQ(slotOf<ChownByIds>(&F::chown), slot++);
  EXPECT_EQ(slotOf(&F::link), slot++);
  EXPECT_EQ(slotOf(&F::stat), slot++);
  EXPECT_EQ(slotOf(&F::readlink), slot++);
  EXPECT_EQ(slotOf(&F::search), slot++);
  EXPECT_EQ(slotOf(&F::mkdir), slot++);
  EXPECT_EQ(slotOf(&F::createRoutine), slot++);
  EXPECT_EQ(slot, 25);
}

/// The frame's operations are none that the local Filer overrides.
TEST(FilerLayout, TheFramesOperationsAreInherited) {
  EXPECT_TRUE((std::is_same_v<decltype(&F::createContext), decltype(&HOQRequest::createContext)>));
  EXPECT_TRUE((std::is_same_v<decltype(&F::beginTransaction),
                              decltype(&HOQRequestModificator::beginTransaction)>));
  EXPECT_TRUE((std::is_same_v<decltype(&F::endTransaction),
                              decltype(&HOQRequestModificator::endTransaction)>));
  EXPECT_TRUE((std::is_same_v<decltype(&F::remote), decltype(&HOQRequestModificator::remote)>));
  EXPECT_TRUE(
      (std::is_same_v<decltype(&F::exclusive), decltype(&HOQRequestModificator::exclusive)>));
  EXPECT_TRUE(
      (std::is_same_v<decltype(&F::connection), decltype(&HOQRequestModificator::connection)>));
  EXPECT_TRUE((std::is_same_v<decltype(&F::session), decltype(&HOQRequestModificator::session)>));
}

using I = HOQFiler;
using InterfaceCopyToNode = int (I::*)(const Paths&, const HOQConnectionInfo&, const std::string&,
                                       const Options&, const HOQSecurityAttributes*);
using InterfaceCopy = int (I::*)(const Paths&, const std::string&, const Options&);
using InterfaceChownByNames = int (I::*)(const Paths&, const std::string&, const std::string&,
                                         const Options&);
using InterfaceChownByIds = int (I::*)(const Paths&, unsigned int, unsigned int, const Options&);

TEST(FilerLayout, TheInterfacesOperationsStandInTheSameOrder) {
  int slot = 2;
  EXPECT_EQ(slotOf(&I::list), slot++);
  EXPECT_EQ(slotOf(&I::remove), slot++);
  EXPECT_EQ(slotOf<InterfaceCopyToNode>(&I::copy), slot++);
  EXPECT_EQ(slotOf<InterfaceCopy>(&I::copy), slot++);
  EXPECT_EQ(slotOf(&I::move), slot++);
  EXPECT_EQ(slotOf(&I::upload), slot++);
  EXPECT_EQ(slotOf(&I::download), slot++);
  EXPECT_EQ(slotOf(&I::chmod), slot++);
  EXPECT_EQ(slotOf<InterfaceChownByNames>(&I::chown), slot++);
  EXPECT_EQ(slotOf<InterfaceChownByIds>(&I::chown), slot++);
  EXPECT_EQ(slotOf(&I::link), slot++);
  EXPECT_EQ(slotOf(&I::stat), slot++);
  EXPECT_EQ(slotOf(&I::readlink), slot++);
  EXPECT_EQ(slotOf(&I::search), slot++);
  EXPECT_EQ(slotOf(&I::mkdir), slot++);
}

HOQ_PROBE_MEMBER(Cwd, HOQFiler, cwd, std::string);
HOQ_PROBE_MEMBER(Cred, HOQFiler, cred, HOQUserCredentials);

TEST(FilerLayout, TheInterfacesFieldsStandInOrder) {
  const F local{HOQAccessProviderPtr()};
  const HOQFiler& filer = local;
  EXPECT_EQ(offsetIn(filer, filer.*memberOf(Cwd())), sizeof(void*));
  EXPECT_EQ(offsetIn(filer, filer.*memberOf(Cred())), sizeof(void*) + sizeof(std::string));
}

TEST(FilerLayout, AFreshFilerHasNoDirectoryAndNobodysCredentials) {
  F filer{HOQAccessProviderPtr()};
  const HOQFiler& interface = filer;
  EXPECT_EQ(interface.*memberOf(Cwd()), "");
  EXPECT_EQ(filer.getCred().uid, 0xFFFFFFFFU);
  EXPECT_TRUE(filer.getCred().gids.empty());
  EXPECT_TRUE(filer.getCred().groups.empty());
  EXPECT_EQ(filer.getCred().name, "");
  EXPECT_EQ(filer.getThis(), &interface);
}

TEST(FilerLayout, DirectoryAndCredentialsAreKept) {
  F filer{HOQAccessProviderPtr()};
  HOQUserCredentials credentials(12, 34);
  credentials.name = "someone";
  filer.setCred(credentials);
  filer.setCwd("/some/where");
  const HOQFiler& interface = filer;
  EXPECT_EQ(interface.*memberOf(Cwd()), "/some/where");
  EXPECT_EQ(filer.getCred().name, "someone");
  EXPECT_EQ(filer.getCred().uid, 12U);
  EXPECT_EQ(filer.getCred().gids, std::vector<std::uint32_t>{34});
  EXPECT_EQ(&filer.getCred(), &(interface.*memberOf(Cred())));
}

}  // namespace
}  // namespace HOQ::test
