#include <hoq/HOQStageService.h>

#include <cstddef>
#include <string_view>
#include <utility>

#include <hoq/HOQAccessChecker.h>
#include <hoq/HOQErrorMessage.h>
#include <hoq/HOQHaulControlFactory.h>
#include <hoq/HOQHaulDeserializerPrototype.h>
#include <hoq/HOQHaulSerializerBaseLocalPrototype.h>
#include <hoq/HOQHaulSerializerPrototype.h>
#include <hoq/HOQNodeIdentity.h>
#include <hoq/HOQResultCodes.h>

namespace HOQ {
namespace {

using BasePtr = boost::intrusive_ptr<HOQHaulSerializerBasePrototype>;

// A name that a peer sent, fit for a line of text.
std::string shown(const std::string& name) {
  constexpr std::size_t kLongest = 64;
  std::string text = name.substr(0, kLongest);
  for (char& each : text)
    if (each < ' ' || each > '~') each = '?';
  return text.size() < name.size() ? text + "..." : text;
}

int refuse(const std::string& text, int code = -1) {
  setErrorMessage("%s", text);
  return code;
}

BasePtr makeSerializer() {
  return HOQFunctionality<HOQHaulControlFactory>::kit().getFileSerializerAgent(HOQEID::EID_INVALID,
                                                                               localAccess(), "");
}

BasePtr makeDeserializer() {
  return HOQFunctionality<HOQHaulControlFactory>::kit().getFileDeserializerAgent(
      HOQEID::EID_INVALID, localAccess(), "");
}

struct Functional {
  const char* name;
  int right;
  BasePtr (*make)();
};

const Functional kFunctionals[] = {
    {"hoqfile_serializer", HOQAccessChecker::kRead, makeSerializer},
    {"hoqfile_deserializer", HOQAccessChecker::kChange, makeDeserializer},
};

// How far the object has come. Stages go from one to the next; a stage that fails ends them.
enum class Progress { kNone, kCreated, kReceiving, kDone };

int copy(HOQHaulSerializerBasePrototype& object, HOQChannelEndPtr end) {
  return dynamic_cast<HOQHaulSerializerPrototype&>(object).copy(std::move(end));
}

int startCopying(HOQHaulSerializerBasePrototype& object, HOQChannelEndPtr end) {
  return dynamic_cast<HOQHaulDeserializerPrototype&>(object).startCopying(std::move(end));
}

int waitCopyingFinish(HOQHaulSerializerBasePrototype& object, HOQChannelEndPtr) {
  return dynamic_cast<HOQHaulDeserializerPrototype&>(object).waitCopyingFinish();
}

struct Stage {
  const char* name;
  const Functional* of;
  bool takesEnd;
  Progress from;
  Progress to;
  int (*run)(HOQHaulSerializerBasePrototype& object, HOQChannelEndPtr end);
};

const Stage kStages[] = {
    {"copy", &kFunctionals[0], true, Progress::kCreated, Progress::kDone, copy},
    {"start_copying", &kFunctionals[1], true, Progress::kCreated, Progress::kReceiving,
     startCopying},
    {"wait_copying_finish", &kFunctionals[1], false, Progress::kReceiving, Progress::kDone,
     waitCopyingFinish},
};

template <class Row, std::size_t Count>
const Row* findRow(const Row (&rows)[Count], const std::string& name) {
  for (const Row& row : rows)
    if (name == row.name) return &row;
  return nullptr;
}

// An empty text, or what the parameters lack.
std::string lackOf(const HOQMessage& params, const std::vector<HOQRequiredElement>& required) {
  const auto find = [](const HOQMessage& in, int id) -> const HOQMessageElement* {
    for (const HOQMessageElement& element : in.elements)
      if (element.id == id) return &element;
    return nullptr;
  };
  for (const HOQRequiredElement& each : required) {
    const HOQMessageElement* const parent = each.within != 0 ? find(params, each.within) : nullptr;
    const HOQMessageElement* const element =
        each.within == 0 ? find(params, each.id)
                         : (parent != nullptr ? find(parent->child, each.id) : nullptr);
    if (element == nullptr) return "Element " + std::to_string(each.id) + " is missing";
    if (element->kind != each.kind)
      return "Element " + std::to_string(each.id) + " is of the wrong kind";
  }
  return std::string();
}

}  // namespace

class HOQStageService::Impl {
 public:
  ~Impl();

  int create(const Functional& functional, HOQMessage& params);
  int call(const Stage& stage, HOQChannelEndPtr end);
  int finish();

 private:
  int outcome(int code, const char* call) const;

  const Functional* functional_ = nullptr;
  BasePtr object_;        // empty: none was made, or its transfer has ended
  HOQChannelEndPtr end_;  // the object's
  Progress progress_ = Progress::kNone;
};

HOQStageService::Impl::~Impl() {
  if (end_) end_->giveUp("The other side has left the transfer");
  try {
    (void)finish();  // nobody is left to hear of a failure
  } catch (...) {
  }
}

int HOQStageService::Impl::create(const Functional& functional, HOQMessage& params) {
  if (HOQAccessChecker::accessCheck(HOQAccessChecker::getClientContext(), functional.right) != 0)
    return refuse("Access refused", kAccessRefused);
  if (object_) return refuse("A transfer is under way already");
  if (params.isTooDeep()) return refuse("The parameters are nested too deep");

  const BasePtr object = functional.make();
  if (!object) return -1;  // the kit said why
  const auto* const local = dynamic_cast<HOQHaulSerializerBaseLocalPrototype*>(object.get());
  if (local == nullptr) return refuse("The object of this name does not work in this process");
  const std::string lack = lackOf(params, local->requiredElements());
  if (!lack.empty()) return refuse(lack);
  const HOQHaulParamsPtr record = local->createParams();
  const HOQMessageIterator it(params);
  if (local->readParams(it, *record) != 0) return refuse("The parameters cannot be read");
  int code = object->init(HOQConnectionInfo(), record);
  if (code == 0) code = object->create();
  if (code != 0) return outcome(code, "create");
  functional_ = &functional;
  object_ = object;
  progress_ = Progress::kCreated;
  return 0;
}

int HOQStageService::Impl::call(const Stage& stage, HOQChannelEndPtr end) {
  if (!object_)
    return refuse("Stage \"" + std::string(stage.name) + "\" came before anything was created");
  if (stage.of != functional_)
    return refuse("\"" + std::string(functional_->name) + "\" has no stage \"" + stage.name + "\"");
  if (stage.from != progress_)
    return refuse("Stage \"" + std::string(stage.name) + "\" came out of order");
  if (stage.takesEnd != static_cast<bool>(end))
    return refuse("Stage \"" + std::string(stage.name) +
                  (end ? "\" takes no end of a channel" : "\" came without an end of a channel"));
  if (end) end_ = end;
  progress_ = Progress::kDone;  // should the stage fail
  const int code = stage.run(*object_, std::move(end));
  if (code == 0) progress_ = stage.to;
  return outcome(code, stage.name);
}

int HOQStageService::Impl::finish() {
  if (!object_) return 0;
  const int code = outcome(object_->finish(), "finish");
  // What went well is no dropped end to the other side.
  if (code == 0 && end_) end_->close();
  object_.reset();
  end_.reset();
  progress_ = Progress::kNone;
  return code;
}

// `code`, with an error text when it is not 0.
int HOQStageService::Impl::outcome(int code, const char* call) const {
  if (code == 0 || !getErrorMessage().empty()) return code;
  const std::string cause = end_ ? end_->failure() : std::string();
  setErrorMessage("%s", cause.empty()
                            ? "\"" + std::string(call) + "\" failed with " + std::to_string(code)
                            : cause);
  return code;
}

HOQStageService::HOQStageService() : impl_(new Impl) {}
HOQStageService::~HOQStageService() = default;

int HOQStageService::create(const std::string& functional, HOQMessage& params) {
  clearErrorMessage();
  const Functional* const row = findRow(kFunctionals, functional);
  if (row == nullptr) return refuse("No functional \"" + shown(functional) + "\" is known");
  return impl_->create(*row, params);
}

bool HOQStageService::takesEnd(const std::string& stage) {
  const Stage* const row = findRow(kStages, stage);
  return row != nullptr && row->takesEnd;
}

int HOQStageService::call(const std::string& stage, HOQChannelEndPtr end) {
  clearErrorMessage();
  const Stage* const row = findRow(kStages, stage);
  if (row == nullptr) return refuse("No stage \"" + shown(stage) + "\" is known");
  return impl_->call(*row, std::move(end));
}

int HOQStageService::finish() {
  clearErrorMessage();
  return impl_->finish();
}

}  // namespace HOQ
