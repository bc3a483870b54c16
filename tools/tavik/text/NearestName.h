/// @file
/// Suggests a known name for an unknown one.
#ifndef TAVIK_TOOL_TEXT_NEAREST_NAME_H
#define TAVIK_TOOL_TEXT_NEAREST_NAME_H

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavik::tool {

/// The first of the known names that need the fewest characters added, removed, replaced or swapped with a neighbor,
/// ignoring case. Absent if that is more than a third of the name's characters.
std::optional<std::string_view> nearestName(std::string_view name, std::span<const std::string_view> known);

/// `; did you mean "NAME"?`
std::string didYouMean(std::string_view name);
/// The same for the nearest name, or empty if there is none.
std::string didYouMean(std::string_view name, std::span<const std::string_view> known);

}  // namespace tavik::tool

#endif
