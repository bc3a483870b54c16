/// @file
/// Recognizes names that are probably misspellings of each other, and not two different names.
#ifndef TAVIK_TOOL_TEXT_MISSPELLING_H
#define TAVIK_TOOL_TEXT_MISSPELLING_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tavik::tool {

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
