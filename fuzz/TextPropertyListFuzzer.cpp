// Old-style property lists. A rejection must have a reason. The description of an accepted value must read back as the
// same value, and each value must have a location.

#include <tavik/PropertyList.h>

#include <cstdlib>
#include <vector>

#include "Locations.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::uint8_t> document(data, data + size);  // a separate block of exactly this size
  std::string error;
  tavik::ValueLocations locations;
  const std::optional<tavik::Value> value = tavik::readPropertyList(document, error, locations);
  if (value.has_value() != error.empty()) std::abort();
  if (!value) return 0;
  tavik::requireLocations({reinterpret_cast<const char*>(document.data()), size}, *value, locations);
  const tavik::Value list(tavik::Array::of(*value));  // the description of a single string has no quotes
  const std::string listing = tavik::description(&list);
  const std::optional<tavik::Value> again =
      tavik::readPropertyList({reinterpret_cast<const std::uint8_t*>(listing.data()), listing.size()}, error);
  // Text has no numbers, dates and booleans, so the descriptions are compared. The added array may exceed the depth
  // limit.
  if (!again && error.find("more than 512 levels deep") == std::string::npos) std::abort();
  if (again && tavik::description(&*again) != listing) std::abort();
  return 0;
}
