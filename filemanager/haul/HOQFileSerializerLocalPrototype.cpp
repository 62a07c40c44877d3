#include "haul/HOQFileSerializerLocalPrototype.h"

#include <fcntl.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <utility>

#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQResultCodes.h>

#include "filer/HOQFilerLocal.h"

namespace HOQ {

HOQFileSerializerLocalPrototype::HOQFileSerializerLocalPrototype(HOQAccessProviderPtr access)
    : HOQHaulSerializerBaseLocalPrototype(std::move(access)) {}

HOQFileSerializerLocalPrototype::~HOQFileSerializerLocalPrototype() { letGo(); }

boost::shared_ptr<HOQFileSerializerParams> HOQFileSerializerLocalPrototype::params() const {
  return boost::static_pointer_cast<HOQFileSerializerParams>(getParams());
}

HOQFileSerializerLocalPrototype::FileId HOQFileSerializerLocalPrototype::idOf(
    HOQFileRoutine& routine) {
  return routine.stat() == 0 ? FileId(routine.statBuffer.st_dev, routine.statBuffer.st_ino)
                             : FileId();
}

int HOQFileSerializerLocalPrototype::create() {
  letGo();
  held = HOQFilerLocal(HOQAccessProviderPtr()).createRoutine(params()->srcPath);
  heldId = idOf(*held);
  // Open, so that its number is not given to the one that replaces it.
  if (!held->isReg() || held->open(O_RDONLY) < 0) held.reset();
  return HOQHaulSerializerBaseLocalPrototype::create();
}

void HOQFileSerializerLocalPrototype::letGo() {
  if (held) (void)held->close();
  held.reset();
}

int HOQFileSerializerLocalPrototype::send(const HOQChannelEndPtr& end,
                                          const boost::shared_ptr<HOQFileRoutine>& routine) {
  const int code = sender.init(end, routine);
  if (code != 0) return code;
  if (held && idOf(*routine) != heldId) {
    setErrorMessage("The file to send was replaced");
    return kFailed;
  }
  return sender.sendData();
}

int HOQFileSerializerLocalPrototype::copy(HOQChannelEndPtr end) {
  beginCommand();
  const boost::shared_ptr<HOQFileRoutine> routine =
      HOQFilerLocal(HOQAccessProviderPtr()).createRoutine(params()->srcPath);
  const int code = send(end, routine);
  letGo();
  // The sender leaves the file open where it cannot begin to send.
  if (routine && routine->isOpened()) (void)routine->close();
  if (code != 0 && end) end->giveUp(getErrorMessage());
  return endCommand(HOQRequestErrorData(code, ""));
}

int HOQFileSerializerLocalPrototype::finish() {
  letGo();
  sender = HOQFileSender();
  return HOQHaulSerializerBaseLocalPrototype::finish();
}

HOQHaulParamsPtr HOQFileSerializerLocalPrototype::createParams() const {
  return boost::make_shared<HOQFileSerializerParams>("", HOQFilerOptions(0));
}

std::vector<HOQRequiredElement> HOQFileSerializerLocalPrototype::requiredElements() const {
  using Kind = HOQMessageElement::Kind;
  using Params = HOQFileSerializerParams;
  return {{Params::kSrcPath, Kind::kString},
          {Params::kOptions, Kind::kChild},
          {HOQFilerOptions::kFlagsElement, Kind::kInt, Params::kOptions}};
}

int HOQFileSerializerLocalPrototype::readParams(const HOQMessageIterator& it,
                                                HOQHaulSerializerBaseParams& params) const {
  return it.getObj(static_cast<HOQFileSerializerParams&>(params));
}

}  // namespace HOQ
