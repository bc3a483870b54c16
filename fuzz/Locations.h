/// @file
/// What must hold for the locations that a reader reports.
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

/// There is one location per value, and they ascend, keys included; there is none in a binary property list.
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
