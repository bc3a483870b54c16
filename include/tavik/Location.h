/// @file
/// Locations in text documents: where each value and each key begins.
///
///     std::string error;
///     ValueLocations locations;
///     const std::optional<Value> rules = readJson(text, error, locations);      // or readPropertyList
///     const Value& limit = *rules->ifDictionary()->find("Limit");
///     const ValueLocation* found = findLocation(*rules, locations, limit);
///     std::cerr << found->value.text() << ": the limit is too high\n";          // "line 3, column 9: ..."
#ifndef TAVIK_LOCATION_H
#define TAVIK_LOCATION_H

#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tavik {

/// A location in a text document. Both numbers start at 1. Columns count Unicode code points, without a byte order
/// mark. Lines end with LF or CR LF; in property lists also with CR.
struct Location {
  std::size_t line = 1;
  std::size_t column = 1;

  /// "line 3, column 9".
  [[nodiscard]] TAVIK_EXPORT std::string text() const;

  friend bool operator==(const Location&, const Location&) = default;
};

/// Where a value begins: its opening quote, bracket or tag, or its first character. In a dictionary, also its key.
struct ValueLocation {
  Location value;
  std::optional<Location> key;

  friend bool operator==(const ValueLocation&, const ValueLocation&) = default;
};

/// The locations of a document's values in document order: one per value; a container comes before its elements.
using ValueLocations = std::vector<ValueLocation>;

/// Finds the location of `part`, which is `document` itself or a value inside it. Values are identified by address:
/// `document` must be the value that the reader returned, possibly moved, and `part` a reference into it, not a copy.
///
/// Returns null if `part` is not found or `locations` does not belong to `document`. Takes time proportional to the
/// number of values before `part`. Thread-safe.
TAVIK_EXPORT const ValueLocation* findLocation(const Value& document, const ValueLocations& locations,
                                               const Value& part);

}  // namespace tavik

#endif
