/// @file
/// Suggests a known name for an unknown one, and recognizes names that are probably misspellings of each other, not two
/// different names.
#ifndef TAVIK_TOOL_TEXT_NEAREST_NAME_H
#define TAVIK_TOOL_TEXT_NEAREST_NAME_H

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tavik::tool {

/// The first of the known names that need the fewest characters added, removed, replaced or swapped with a neighbor,
/// ignoring case. Absent if that is more than a third of the name's characters.
std::optional<std::string_view> nearestName(std::string_view name, std::span<const std::string_view> known);

/// `; did you mean "NAME"?`
std::string didYouMean(std::string_view name);
/// The same for the nearest name, or empty if there is none.
std::string didYouMean(std::string_view name, std::span<const std::string_view> known);

/// Whether one name is the other with a typing error: a letter missing, doubled, replaced or swapped with its neighbor,
/// another case, or other punctuation. Differences that tell related names apart do not count: digits, the first letter
/// of a word ("tx_power", "rx_power"), the ending of a word ("Charge", "Charger") and capital letters ("AxisX",
/// "AxisY").
bool looksMisspelled(std::string_view name, std::string_view meant);

/// The name as people read it: letters in one case, without punctuation, O as 0, and I and L as 1.
std::string asRead(std::string_view name);

/// Finds misspellings among many names, in time linear in their total length.
class SpellingIndex {
 public:
  /// Borrows the name.
  void add(std::string_view name);
  /// The first of the names that looks like `name` misspelled, apart from itself.
  [[nodiscard]] std::optional<std::string_view> similarTo(std::string_view name) const;

 private:
  std::vector<std::string_view> names_;
  std::unordered_map<std::string, std::vector<std::size_t>> byShortened_;  // each name without one of its letters
};

}  // namespace tavik::tool

#endif
