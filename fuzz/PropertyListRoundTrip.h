/// @file
/// The common part of the targets for encodings that can be written.
#ifndef TAVIK_FUZZ_PROPERTY_LIST_ROUND_TRIP_H
#define TAVIK_FUZZ_PROPERTY_LIST_ROUND_TRIP_H

#include <tavik/PropertyList.h>

#include <cstdlib>
#include <initializer_list>
#include <vector>

#include "Locations.h"

namespace tavik {

/// Reads the bytes. A rejection must have a reason. An accepted value is written, read back and written again with the
/// same result. In text encodings, each value has a location.
inline void roundTrip(const std::uint8_t* data, std::size_t size, std::initializer_list<PropertyListFormat> formats) {
  const std::vector<std::uint8_t> document(data, data + size);  // a separate block of exactly this size
  std::string error;
  ValueLocations locations;
  const std::optional<Value> value = readPropertyList(document, error, locations);
  if (value.has_value() != error.empty()) std::abort();
  if (!value) return;
  requireLocations({reinterpret_cast<const char*>(document.data()), size}, *value, locations);
  for (const PropertyListFormat format : formats) {
    const std::optional<Data> once = writePropertyList(*value, format, error);
    if (!once) std::abort();
    const std::optional<Value> again = readPropertyList(once->bytes(), error);
    if (!again || writePropertyList(*again, format, error) != once) std::abort();
  }
}

}  // namespace tavik

#endif
