#include "Clock.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <tavik/PropertyList.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>

namespace tavik::station {

Milliseconds now() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string isoText(Milliseconds time) {
  constexpr Milliseconds kEndOfYear9999 = 253402300799999;
  const Milliseconds shown = std::clamp<Milliseconds>(time, 0, kEndOfYear9999);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(static_cast<std::time_t>(shown / 1000)), shown % 1000);
}

std::optional<Milliseconds> timeFromText(std::string_view text) {
  constexpr std::size_t kLengthOfDay = 10;
  const bool isDay = text.size() == kLengthOfDay;
  const std::optional<Date> date = dateFromIsoText(std::string(text) + (isDay ? "T00:00:00Z" : ""));
  if (!date) return std::nullopt;
  return static_cast<Milliseconds>(std::floor(date->secondsSinceEpoch() * 1000));
}

}  // namespace tavik::station
