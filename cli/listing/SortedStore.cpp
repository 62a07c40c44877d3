#include "listing/SortedStore.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "listing/Frames.h"
#include "listing/Packing.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kWriteBytes = 256 * 1024;
constexpr std::size_t kReadBytes = 64 * 1024;
constexpr std::size_t kLeastReadBytes = 4 * 1024;

std::uint64_t orderOf(std::string_view key) {
  std::uint64_t order = 0;
  for (std::size_t i = 0; i < sizeof order; ++i)
    order = (order << 8) | (i < key.size() ? static_cast<unsigned char>(key[i]) : 0U);
  return order;
}

/// Frames in the order of their keys, one after the other.
class Source {
 public:
  explicit Source(std::size_t number) : number_(number) {}
  virtual ~Source() = default;

  /// False: there is no further one. The texts are valid until the next call.
  virtual bool next() = 0;

  bool isBefore(const Source& other) const {
    const int compared = key.compare(other.key);
    return compared < 0 || (compared == 0 && number_ < other.number_);
  }

  std::string_view key;
  std::string_view value;

 private:
  const std::size_t number_;
};

class PartSource : public Source {
 public:
  PartSource(std::size_t number, Frames frames) : Source(number), frames_(std::move(frames)) {}

  bool next() override { return frames_.next(key, value); }

 private:
  Frames frames_;
};

}  // namespace

/// What is in memory, sorted.
class SortedStore::MemorySource : public Source {
 public:
  MemorySource(std::size_t number, const SortedStore& store) : Source(number), store_(store) {}

  bool next() override {
    if (slot_ == store_.slots_.size()) return false;
    std::string_view frame = std::string_view(store_.text_).substr(store_.slots_[slot_++].offset);
    return takeText(frame, key) && takeText(frame, value);
  }

 private:
  const SortedStore& store_;
  std::size_t slot_ = 0;
};

void SortedStore::add(std::string_view key, std::string_view value) {
  const std::size_t held = text_.size() + slots_.size() * sizeof(Slot);
  if (!slots_.empty() && held + key.size() + value.size() > memoryBytes_) setAside();
  slots_.push_back({orderOf(key), text_.size()});
  appendText(text_, key);
  appendText(text_, value);
}

void SortedStore::clear() {
  text_.clear();
  slots_.clear();
  parts_.clear();
  fileEnd_ = 0;
}

void SortedStore::sort() {
  const auto keyOf = [this](const Slot& slot) {
    std::string_view frame = std::string_view(text_).substr(slot.offset);
    std::string_view key;
    (void)takeText(frame, key);  // it is whole
    return key;
  };
  std::sort(slots_.begin(), slots_.end(), [&keyOf](const Slot& a, const Slot& b) {
    if (a.order != b.order) return a.order < b.order;
    const int compared = keyOf(a).compare(keyOf(b));
    return compared < 0 || (compared == 0 && a.offset < b.offset);
  });
}

/// Moves what is in memory to the file. Where that fails, it stays, and so does what comes.
void SortedStore::setAside() {
  sort();
  std::uint64_t end = fileEnd_;
  bool good = true;
  std::string piece;
  MemorySource all(0, *this);
  for (bool more = all.next(); good && more;) {
    appendText(piece, all.key);
    appendText(piece, all.value);
    more = all.next();
    if (piece.size() < kWriteBytes && more) continue;
    good = file_.write(piece, end);
    end += piece.size();
    piece.clear();
  }
  if (!good) {
    memoryBytes_ = std::numeric_limits<std::size_t>::max();
    return;
  }
  parts_.push_back({fileEnd_, end});
  fileEnd_ = end;
  text_.clear();
  slots_.clear();
}

void SortedStore::drain(const Take& take) {
  sort();
  std::vector<std::unique_ptr<Source>> sources;
  const std::size_t bytes =
      std::clamp(memoryBytes_ / (parts_.size() + 1), kLeastReadBytes, kReadBytes);
  const auto read = [this](std::uint64_t offset, std::size_t length, std::string& out) {
    file_.read(offset, length, out);
  };
  for (const Part& part : parts_)
    sources.push_back(
        std::make_unique<PartSource>(sources.size(), Frames(read, part.begin, part.end, bytes)));
  sources.push_back(std::make_unique<MemorySource>(sources.size(), *this));
  std::erase_if(sources, [](const auto& source) { return !source->next(); });

  const auto later = [](const auto& a, const auto& b) { return b->isBefore(*a); };
  std::make_heap(sources.begin(), sources.end(), later);
  while (!sources.empty()) {
    std::pop_heap(sources.begin(), sources.end(), later);
    take(sources.back()->key, sources.back()->value);
    if (sources.back()->next())
      std::push_heap(sources.begin(), sources.end(), later);
    else
      sources.pop_back();
  }
  clear();
}

}  // namespace HOQ::cli
