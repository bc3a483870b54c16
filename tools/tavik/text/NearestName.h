/// @file
/// For a name that is none of the known ones: which of them was meant.
#ifndef TAVIK_TOOL_TEXT_NEAREST_NAME_H
#define TAVIK_TOOL_TEXT_NEAREST_NAME_H

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavik::tool {

/// The known name that takes the fewest characters added, left out, replaced or swapped with their neighbour; capitals
/// count as small letters. Absent when it takes more than a third of the name's. The first of several.
std::optional<std::string_view> nearestName(std::string_view name, std::span<const std::string_view> known);

/// `; did you mean "NAME"?`, or nothing.
std::string didYouMean(std::string_view name, std::span<const std::string_view> known);

}  // namespace tavik::tool

#endif
