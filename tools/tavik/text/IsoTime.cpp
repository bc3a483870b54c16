#include "text/IsoTime.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <tavik/PropertyList.h>

#include <algorithm>
#include <ctime>

namespace tavik::tool {

std::string isoText(std::int64_t milliseconds) {
  constexpr std::int64_t kEndOfYear9999 = 253402300799999;
  const std::int64_t shown = std::clamp<std::int64_t>(milliseconds, 0, kEndOfYear9999);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(static_cast<std::time_t>(shown / 1000)), shown % 1000);
}

std::optional<Date> dateFromText(std::string_view text) {
  const std::optional<Date> date = dateFromIsoText(text);
  return date ? date : dateFromIsoText(std::string(text) + "T00:00:00Z");
}

}  // namespace tavik::tool
