#include "io/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "io/StandardError.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::chrono::milliseconds kBetweenUpdates(250);

/// "1:02:03" or "2:03".
std::string durationText(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::min(seconds, 1e9));
  const std::int64_t hours = whole / 3600;
  const std::int64_t minutes = whole / 60 % 60;
  return hours == 0 ? fmt::format("{}:{:02}", minutes, whole % 60)
                    : fmt::format("{}:{:02}:{:02}", hours, minutes, whole % 60);
}

}  // namespace

Progress::Progress(std::optional<std::uint64_t> inputSize, std::string_view counted)
    : inputSize_(inputSize),
      counted_(counted),
      screen_(Screen::standardError()),
      sharesScreen_(isatty(STDOUT_FILENO) != 0) {}

void Progress::show(const State& state) {
  const Clock::time_point now = Clock::now();
  if (!screen_.width || now < next_) return;
  next_ = now + kBetweenUpdates;
  const std::string line = shortened(text(state, now), *screen_.width - 1);
  clear();
  writeStandardError(line);
  shown_ = true;
}

void Progress::makeWay() {
  if (sharesScreen_) clear();
}

void Progress::clear() {
  if (shown_) writeStandardError("\r" + std::string(*screen_.width - 1, ' ') + "\r");  // works on every terminal
  shown_ = false;
}

std::string Progress::text(const State& state, Clock::time_point now) const {
  const double seconds = std::chrono::duration<double>(now - start_).count();
  std::string text = fmt::format("{} devices, {} {}", state.devices, state.failed, counted_);
  if (seconds > 0) text += fmt::format(", {:.0f} per second", static_cast<double>(state.devices) / seconds);
  if (inputSize_ && state.position > 0 && state.position <= *inputSize_) {
    const double left = seconds * (static_cast<double>(*inputSize_) / static_cast<double>(state.position) - 1);
    text += ", " + durationText(left) + " left";
  }
  return text;
}

}  // namespace tavik::tool
