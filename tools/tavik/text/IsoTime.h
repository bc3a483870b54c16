/// @file
/// UTC times as text (ISO 8601).
#ifndef TAVIK_TOOL_TEXT_ISO_TIME_H
#define TAVIK_TOOL_TEXT_ISO_TIME_H

#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavik::tool {

/// "2026-11-22T08:00:00.123Z". milliseconds: since 1970-01-01 00:00:00 UTC; times outside the years 1970 to 9999 are
/// written as the nearest time in them.
std::string isoText(std::int64_t milliseconds);

/// The time in a text such as "2026-11-22T08:00:00Z" or "2026-11-22", the beginning of a day; absent if it is
/// malformed.
std::optional<Date> dateFromText(std::string_view text);

}  // namespace tavik::tool

#endif
