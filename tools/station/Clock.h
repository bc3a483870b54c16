/// @file
/// The time of the service: every time that is stored or shown comes from here.
#ifndef TAVIK_STATION_CLOCK_H
#define TAVIK_STATION_CLOCK_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavik::station {

/// Milliseconds since 1970-01-01 00:00:00 UTC.
using Milliseconds = std::int64_t;

Milliseconds now();

/// "2026-11-22T08:00:00.123Z"
std::string isoText(Milliseconds time);

/// The time in a text such as "2026-11-22T08:00:00Z" or "2026-11-22", the beginning of a day; absent if it is
/// malformed.
std::optional<Milliseconds> timeFromText(std::string_view text);

}  // namespace tavik::station

#endif
