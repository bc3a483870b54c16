/// @file
/// Converts byte offsets in a text document to lines and columns.
#ifndef TAVIK_VALUES_PROPERTY_LISTS_LOCATION_FINDER_H
#define TAVIK_VALUES_PROPERTY_LISTS_LOCATION_FINDER_H

#include <tavik/Location.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace tavik {

/// Finds the locations of ascending offsets in one pass. LF and CR LF end a line.
class LocationFinder {
 public:
  /// A CR without LF ends a line in property lists, but not in JSON, where a document may be one line of a file.
  enum class LoneReturn : bool { kIsPartOfLine, kEndsLine };

  LocationFinder(std::string_view document, LoneReturn loneReturn, std::size_t firstLine = 1) noexcept
      : document_(document), loneReturn_(loneReturn), location_{firstLine, 1} {}

  /// `offset` is not less than that of the previous call.
  Location at(std::size_t offset) noexcept;

 private:
  std::string_view document_;
  LoneReturn loneReturn_;
  std::size_t offset_ = 0;
  Location location_;
};

/// The offsets of a value and its key, in bytes from the start of the document.
struct ValueOffset {
  static constexpr std::size_t kNoKey = std::string_view::npos;

  std::size_t value;
  std::size_t key = kNoKey;
};

/// Converts offsets to locations. The offsets must ascend, keys included.
ValueLocations locationsOf(const std::vector<ValueOffset>& offsets, LocationFinder finder);

}  // namespace tavik

#endif
