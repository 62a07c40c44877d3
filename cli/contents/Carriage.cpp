#include "contents/Carriage.h"

#include <exception>
#include <thread>
#include <utility>

#include "contents/Writer.h"

namespace HOQ::cli {

Carriage::Carriage(const ContentsOptions& options, MakeSide makeSource, MakeSide makeTarget,
                   Interruption& interruption, Outcome& outcome, ContentsProgress& progress)
    : options_(options),
      makeSource_(std::move(makeSource)),
      makeTarget_(std::move(makeTarget)),
      interruption_(interruption),
      outcome_(outcome),
      progress_(progress) {}

void Carriage::run(const std::vector<Wanted>& items, const std::string& directory,
                   const std::string& placeName) {
  carry([&](Reader& reader) { reader.run(items, directory, placeName); });
}

void Carriage::runToStream(const std::vector<Wanted>& items) {
  carry([&](Reader& reader) { reader.runToStream(items); });
}

void Carriage::carry(const Read& read) {
  const auto source = makeSource_();
  const auto target = makeTarget_();
  std::thread reader([this, &read] { readAll(read); });
  try {
    Writer writer(options_, *source, *target, outcome_, progress_);
    while (BatchPtr batch = queue_.pop()) {
      interruption_.check();
      writer.write(*batch);
      queue_.giveBack(std::move(batch));
    }
    interruption_.check();
    reader.join();
  } catch (...) {
    queue_.close();
    reader.join();
    interruption_.acknowledge();
    if (!options_.resume) levels_.discard(*target);
    throw;
  }
}

/// The other thread.
void Carriage::readAll(const Read& read) {
  std::exception_ptr failure;
  try {
    const auto source = makeSource_();
    const auto target = makeTarget_();
    Pieces pieces(options_, *source, queue_, interruption_, outcome_);
    Reader reader(options_, *source, *target, pieces, levels_, outcome_);
    read(reader);
  } catch (const BatchQueue::Closed&) {
    return;  // the other thread knows why
  } catch (...) {
    failure = std::current_exception();
  }
  queue_.end(failure);
}

}  // namespace HOQ::cli
