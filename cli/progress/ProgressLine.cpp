#include "progress/ProgressLine.h"

#include <fmt/format.h>

#include <algorithm>

#include "output/FieldText.h"

namespace HOQ::cli {
namespace {

/// What an item costs beside its contents, as bytes: small files are not carried in no time.
constexpr double kItemCost = 32 * 1024;

double costOf(const Amount& amount) {
  return static_cast<double>(amount.bytes) + kItemCost * static_cast<double>(amount.items);
}

/// "24 B", "3.4 MiB".
std::string size(std::uint64_t bytes) {
  std::string text = sizeText(bytes, true);
  if (bytes < 1024) return text + " B";
  text.insert(text.size() - 1, " ");
  return text + "iB";
}

/// Bytes per second, or nothing before there is anything to divide by.
std::string rateText(const Standing& standing) {
  const auto ms = static_cast<double>(standing.elapsed.count());
  if (ms <= 0 || standing.done.bytes == 0) return "";
  const double perSecond = static_cast<double>(standing.done.bytes) * 1000 / ms;
  return fmt::format(", {}/s", size(static_cast<std::uint64_t>(perSecond)));
}

std::string durationText(std::chrono::seconds duration) {
  const auto s = duration.count();
  if (s < 60) return fmt::format("{} s", s);
  if (s < 3600) return fmt::format("{}:{:02}", s / 60, s % 60);
  return fmt::format("{}:{:02}:{:02}", s / 3600, s / 60 % 60, s % 60);
}

}  // namespace

std::optional<Amount> Standing::knownTotal() const {
  if (!total || done.items > total->items || done.bytes > total->bytes) return std::nullopt;
  return total;
}

std::uint32_t Standing::percent() const {
  const auto whole = knownTotal();
  if (!whole || whole->items == 0) return 0;
  return static_cast<std::uint32_t>(100 * costOf(done) / costOf(*whole));
}

std::optional<std::chrono::seconds> Standing::left() const {
  const auto whole = knownTotal();
  const double cost = costOf(done);
  if (!whole || cost <= 0 || elapsed.count() <= 0) return std::nullopt;
  constexpr double kLongest = 360'000;  // 100 hours: no estimate goes further
  const double ms = static_cast<double>(elapsed.count()) * (costOf(*whole) - cost) / cost;
  return std::chrono::seconds(static_cast<std::int64_t>(std::min(ms / 1000 + 0.5, kLongest)));
}

std::string progressLine(const Standing& standing) {
  const auto whole = standing.knownTotal();
  if (!whole)
    return summaryText(standing) + ", " +
           durationText(std::chrono::duration_cast<std::chrono::seconds>(standing.elapsed));
  std::string line = fmt::format("{} of {} items, {} of {}{}", standing.done.items, whole->items,
                                 size(standing.done.bytes), size(whole->bytes), rateText(standing));
  if (const auto left = standing.left(); left && left->count() != 0)
    line += ", " + durationText(*left) + " left";
  return line;
}

std::string summaryText(const Standing& standing) {
  return fmt::format("{} {}, {}{}", standing.done.items,
                     standing.done.items == 1 ? "item" : "items", size(standing.done.bytes),
                     rateText(standing));
}

}  // namespace HOQ::cli
