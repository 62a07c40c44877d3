#include "output/Console.h"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "output/Utf8.h"

namespace HOQ::cli {
namespace {

using namespace std::chrono_literals;

constexpr auto kFirstShown = 1s;
constexpr auto kRefresh = 250ms;
constexpr std::string_view kWipe = "\r\x1b[K";
constexpr int kDeadlySignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile sig_atomic_t wipedDescriptor = -1;

/// Leaves the terminal clean and dies of the signal as if nobody had looked at it.
extern "C" void wipeAndDie(int signal) {
  (void)!::write(wipedDescriptor, kWipe.data(), kWipe.size());  // nothing left to do if it fails
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

/// A signal that the caller had ignored stays so.
void replaceAction(int signal, void (*expected)(int), void (*handler)(int)) {
  struct sigaction action {};
  if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler != expected) return;
  action = {};
  action.sa_handler = handler;
  (void)::sigaction(signal, &action, nullptr);  // cannot fail: both are valid
}

void writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

Console::Console(int descriptor, When progress)
    : descriptor_(descriptor), terminal_(::isatty(descriptor) == 1), progress_(progress) {}

Console::~Console() { stopProgress(); }

void Console::error(std::string_view text) { write("hoq: ", text); }

void Console::line(std::string_view text) { write("", text); }

void Console::write(std::string_view prefix, std::string_view text) {
  std::string line(prefix);
  line += terminal_ ? escapeForTerminal(text) : std::string(text);
  line += '\n';
  const std::lock_guard<std::mutex> lock(mutex_);
  wipe();
  writeAll(descriptor_, line);
}

void Console::startProgress(const std::atomic<std::uint64_t>& items) {
  if (!showsProgress()) return;
  if (thread_.joinable()) return;
  items_ = &items;
  stopping_ = false;
  if (terminal_) {
    wipedDescriptor = descriptor_;
    for (const int signal : kDeadlySignals) replaceAction(signal, SIG_DFL, wipeAndDie);
  }
  const auto started = Clock::now();
  if (progress_ == When::kAlways) show(started);
  thread_ = std::thread([this, started] { run(started); });
}

void Console::describeProgress(std::function<std::string()> text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  text_ = std::move(text);
}

void Console::stopProgress() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_one();
  thread_.join();
  if (!terminal_) return;
  for (const int signal : kDeadlySignals) replaceAction(signal, wipeAndDie, SIG_DFL);
}

void Console::run(Clock::time_point started) {
  std::unique_lock<std::mutex> lock(mutex_);
  const auto stopped = [this] { return stopping_; };
  auto pause = progress_ == When::kAlways ? Clock::duration(kRefresh) : kFirstShown;
  while (!changed_.wait_for(lock, pause, stopped)) {
    show(started);
    pause = kRefresh;
  }
  if (!terminal_) show(started);
  wipe();
}

void Console::show(Clock::time_point started) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - started);
  const std::string text =
      text_ ? text_() : fmt::format("{} items, {} s", items_->load(), seconds.count());
  const std::string_view before = terminal_ ? kWipe : shown_ ? "\r" : "";
  writeAll(descriptor_, std::string(before) + text);
  shown_ = true;
}

/// Makes room for something else: where a line cannot be taken back, it is ended.
void Console::wipe() {
  if (shown_) writeAll(descriptor_, terminal_ ? kWipe : "\n");
  shown_ = false;
}

}  // namespace HOQ::cli
