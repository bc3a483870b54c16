// Locations of values in text documents.

#include <tavik/Location.h>
#include <tavik/PropertyList.h>

#include <algorithm>

#include "values/property_lists/LocationFinder.h"

namespace tavik {
namespace {

// Whether `value` is the part or contains it. Counts the values before the part in document order. Limits the depth to
// that of documents.
bool find(const Value& part, const Value& value, std::size_t& before, int depth = 0) {
  if (&value == &part) return true;
  ++before;
  if (depth == kPropertyListDepthLimit) return false;
  const auto isIn = [&](const Value& inner) { return find(part, inner, before, depth + 1); };
  if (const Array* array = value.ifArray()) return std::ranges::any_of(*array, isIn);
  const Dictionary* dictionary = value.ifDictionary();
  return dictionary != nullptr &&
         std::any_of(dictionary->begin(), dictionary->end(), [&](const auto& entry) { return isIn(entry.value); });
}

}  // namespace

std::string Location::text() const { return "line " + std::to_string(line) + ", column " + std::to_string(column); }

const ValueLocation* findLocation(const Value& document, const ValueLocations& locations, const Value& part) {
  std::size_t before = 0;
  return !locations.empty() && find(part, document, before) && before < locations.size() ? &locations[before] : nullptr;
}

Location LocationFinder::at(std::size_t offset) noexcept {
  for (; offset_ < offset; ++offset_) {
    const char character = document_[offset_];
    const bool isLoneReturn = character == '\r' && !document_.substr(offset_ + 1).starts_with('\n');
    if (character == '\n' || (isLoneReturn && loneReturn_ == LoneReturn::kEndsLine)) {
      location_ = {location_.line + 1, 1};
    } else if ((static_cast<unsigned char>(character) & 0xC0) != 0x80) {
      ++location_.column;
    }
  }
  return location_;
}

ValueLocations locationsOf(const std::vector<ValueOffset>& offsets, LocationFinder finder) {
  ValueLocations locations;
  locations.reserve(offsets.size());
  for (const auto& [value, key] : offsets) {
    ValueLocation& location = locations.emplace_back();
    if (key != ValueOffset::kNoKey) location.key = finder.at(key);
    location.value = finder.at(value);
  }
  return locations;
}

}  // namespace tavik
