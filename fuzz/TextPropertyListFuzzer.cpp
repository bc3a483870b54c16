// Old-style property lists. What is rejected has a reason; a listing of what is read reads as the same value, and each
// value has a location.

#include <tavik/PropertyList.h>

#include <cstdlib>
#include <vector>

#include "Locations.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::uint8_t> document(data, data + size);  // a block of its own, exactly this long
  std::string error;
  tavik::ValueLocations locations;
  const std::optional<tavik::Value> value = tavik::readPropertyList(document, error, locations);
  if (value.has_value() != error.empty()) std::abort();
  if (!value) return 0;
  tavik::requireLocations({reinterpret_cast<const char*>(document.data()), size}, *value, locations);
  const tavik::Value list(tavik::Array::of(*value));  // a string alone would be described without its quotes
  const std::string listing = tavik::description(&list);
  const std::optional<tavik::Value> again =
      tavik::readPropertyList({reinterpret_cast<const std::uint8_t*>(listing.data()), listing.size()}, error);
  // Text has no numbers, dates and booleans, so the listings are compared; one level more may be one too many.
  if (!again && error.find("more than 512 levels deep") == std::string::npos) std::abort();
  if (again && tavik::description(&*again) != listing) std::abort();
  return 0;
}
