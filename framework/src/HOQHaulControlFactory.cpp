#include <hoq/HOQHaulControlFactory.h>

#include <utility>

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQHaulControl.h>
#include <hoq/HOQNodeIdentity.h>

namespace HOQ {
namespace {

// An end in the environment `eid`, or empty with the error text set.
template <class Result>
Result makeEnd(const HOQFunctionalMultiplexer<Result>& factories, const char* what,
               const HOQEID& eid, HOQAccessProviderPtr access, const std::string& name) {
  const bool here = !eid.isValid() || eid == nodeEID();
  Result end = here ? factories.createLocal(name, std::move(access))
                    : factories.createAgent(name, eid, std::move(access));
  if (!end)
    setErrorMessage("No %s of transfers %s is registered as \"%s\"", what,
                    here ? "in this process" : "with another node", name);
  return end;
}

}  // namespace

boost::shared_ptr<HOQHaulControl> HOQHaulControlFactory::getFileControlLocal(
    HOQAccessProviderPtr access, const std::string& name) {
  auto control = m_FileControl.createLocal(name, std::move(access));
  if (!control) setErrorMessage("No control of file transfers is registered as \"%s\"", name);
  return control;
}

boost::intrusive_ptr<HOQHaulSerializerPrototype> HOQHaulControlFactory::getFileSerializerAgent(
    const HOQEID& eid, HOQAccessProviderPtr access, const std::string& name) {
  return makeEnd(m_FileSerializer, "sending end", eid, std::move(access), name);
}

boost::intrusive_ptr<HOQHaulDeserializerPrototype> HOQHaulControlFactory::getFileDeserializerAgent(
    const HOQEID& eid, HOQAccessProviderPtr access, const std::string& name) {
  return makeEnd(m_FileDeserializer, "receiving end", eid, std::move(access), name);
}

}  // namespace HOQ
