/// @file
/// What the targets for written encodings share.
#ifndef TAVIK_FUZZ_PROPERTY_LIST_ROUND_TRIP_H
#define TAVIK_FUZZ_PROPERTY_LIST_ROUND_TRIP_H

#include <tavik/PropertyList.h>

#include <cstdlib>
#include <initializer_list>
#include <vector>

namespace tavik {

/// Reads the bytes: whatever is refused has a reason; whatever is read is written, read back and written the same.
inline void roundTrip(const std::uint8_t* data, std::size_t size, std::initializer_list<PropertyListFormat> formats) {
  const std::vector<std::uint8_t> document(data, data + size);  // a block of its own, exactly this long
  std::string error;
  const std::optional<Value> value = readPropertyList(document, error);
  if (value.has_value() != error.empty()) std::abort();
  if (!value) return;
  for (const PropertyListFormat format : formats) {
    const std::optional<Data> once = writePropertyList(*value, format, error);
    if (!once) std::abort();
    const std::optional<Value> again = readPropertyList(once->bytes(), error);
    if (!again || writePropertyList(*again, format, error) != once) std::abort();
  }
}

}  // namespace tavik

#endif
