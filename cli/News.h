#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include <hoq/HOQRequestHandlerPrototype.h>

namespace HOQ::cli {

/// Collects what a request has to say. Touched by the request's thread, between requests by its
/// owner; `items` may be read by any thread.
class News : public HOQRequestHandlerPrototype {
 public:
  using Event = std::variant<HOQRequestErrorData, HOQRequestProgressData>;
  using Counter = std::atomic<std::uint64_t>;

  /// `itemCounter` counts the items that requests reach; not owned, outlives this object.
  explicit News(Counter& itemCounter) : items(itemCounter) {}

  void error(const HOQRequestErrorData& error) override { events.emplace_back(error); }
  void progress(const HOQRequestProgressData& progress) override {
    if (onProgress)
      onProgress(progress);
    else
      events.emplace_back(progress);
  }
  void answer(const HOQMsgWriter&, const HOQRequestErrorData&) override { answered = true; }
  bool takesRecords() const override { return onRecord != nullptr; }
  bool takesRecordsBelow() const override { return takesTrees; }
  bool record(const boost::shared_ptr<HOQFileType>& record) override {
    return recordBelow(record, 0);
  }
  bool recordBelow(const boost::shared_ptr<HOQFileType>& record, std::size_t level) override {
    return onRecord(record, level);
  }
  bool itemReached() override {
    items.fetch_add(1, std::memory_order_relaxed);
    return true;
  }

  /// The error texts so far, which are forgotten with everything else.
  std::vector<std::string> takeErrors() {
    std::vector<std::string> texts;
    for (const Event& event : events)
      if (const auto* record = std::get_if<HOQRequestErrorData>(&event))
        texts.push_back(record->message);
    events.clear();
    answered = false;
    return texts;
  }

  /// Takes progress records instead of their being collected. Must not throw.
  std::function<void(const HOQRequestProgressData&)> onProgress;
  /// Takes a list's records one by one, instead of their being in its answer; those of level 0 are
  /// of the top level. False: no more. Must not throw.
  std::function<bool(const boost::shared_ptr<HOQFileType>&, std::size_t level)> onRecord;
  /// Whether it takes those below the top level by themselves.
  bool takesTrees = false;
  std::vector<Event> events;
  bool answered = false;
  Counter& items;
};

using NewsPtr = boost::intrusive_ptr<News>;

}  // namespace HOQ::cli
