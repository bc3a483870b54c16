/// @file
/// Checks the locations reported by a reader.
#ifndef TAVIK_FUZZ_LOCATIONS_H
#define TAVIK_FUZZ_LOCATIONS_H

#include <tavik/Location.h>

#include <cstdlib>
#include <string_view>
#include <tuple>

namespace tavik {

inline std::size_t countOf(const Value& value) {
  std::size_t count = 1;
  if (const Array* array = value.ifArray()) {
    for (const Value& element : *array) count += countOf(element);
  }
  if (const Dictionary* dictionary = value.ifDictionary()) {
    for (const auto [key, element] : *dictionary) count += countOf(element);
  }
  return count;
}

/// There is one location per value, and locations ascend, keys included. A binary property list has none.
inline void requireLocations(std::string_view document, const Value& value, const ValueLocations& locations) {
  if (locations.size() != (document.starts_with("bplist") ? 0 : countOf(value))) std::abort();
  Location last{0, 0};
  const auto requireLater = [&](Location next) {
    if (std::tie(last.line, last.column) >= std::tie(next.line, next.column)) std::abort();
    last = next;
  };
  for (const auto& [location, key] : locations) {
    if (key) requireLater(*key);
    requireLater(location);
  }
}

}  // namespace tavik

#endif
