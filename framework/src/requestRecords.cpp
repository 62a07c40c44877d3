// How the small records of requests stand in messages.
#include <hoq/HOQFilerOptions.h>

#include <hoq/HOQMessageIterator.h>
#include <hoq/HOQSecurityAttributes.h>

namespace HOQ {

int HOQFilerOptions::Writer::operator()(HOQMessageIterator& it,
                                        const HOQFilerOptions& options) const {
  (void)it.putInt(options.flags, kFlagsElement);
  return 0;
}

int HOQFilerOptions::Reader::operator()(const HOQMessageIterator& it,
                                        HOQFilerOptions& options) const {
  (void)it.getInt(options.flags, kFlagsElement);
  return 0;
}

int HOQSecurityAttributes::Writer::operator()(HOQMessageIterator& it,
                                              const HOQSecurityAttributes& attributes) const {
  (void)it.putInt(attributes.value, kModeElement);
  return 0;
}

int HOQSecurityAttributes::Reader::operator()(const HOQMessageIterator& it,
                                              HOQSecurityAttributes& attributes) const {
  (void)it.getInt(attributes.value, kModeElement);
  return 0;
}

}  // namespace HOQ
