#include "server/HaulCreate.h"

#include <hoq/v1/haul.pb.h>

#include <utility>

#include "codec/Elements.h"

namespace HOQ::transport {
namespace {

/// Texts of the parameters, in order: an audit's line shows what a transfer is about.
std::vector<std::string> textsOf(const HOQMessage& params) {
  std::vector<std::string> texts;
  for (const HOQMessageElement& element : params.elements)
    if (element.kind == HOQMessageElement::Kind::kString ||
        element.kind == HOQMessageElement::Kind::kPath)
      texts.push_back(element.text);
  return texts;
}

}  // namespace

HaulCreate HaulCreate::take(hoq::v1::HaulRequest_Create& from, const std::string& address) {
  HaulCreate create;
  create.address = address;
  create.functional = std::move(*from.mutable_functional());
  create.askedBy = std::move(*from.mutable_asked_by());
  create.isReadable = fromWire(from.params(), create.params);
  return create;
}

Ledger::Admission HaulCreate::admit(Ledger& ledger) {
  const Ledger::Admission admission = ledger.admit();
  isAdmitted = admission == Ledger::Admission::kYes;
  if (admission == Ledger::Admission::kTooMany)
    trouble = "The node is busy: it has as many calls of this client as it takes";
  if (admission == Ledger::Admission::kGoesDown) trouble = "The node goes down";
  return admission;
}

CallRecord HaulCreate::record(const Ledger& ledger) const {
  CallRecord record;
  record.address = address;
  record.method = functional.substr(0, 64);
  record.client = ledger.settings().client->name();
  record.askedBy = askedBy;
  record.paths = textsOf(params);
  record.pathCount = record.paths.size();
  record.changes = functional == "hoqfile_deserializer";
  return record;
}

}  // namespace HOQ::transport
