// Locations of values in text documents.

#include <tavik/Location.h>

#include "values/property_lists/LocationFinder.h"

namespace tavik {
namespace {

// Walks a document's values in document order up to `part` and counts those before it.
class Search {
 public:
  explicit Search(const Value& part) : part_(&part) {}

  // Whether `value` is the part or contains it. The open containers are kept in a list: values may have any depth.
  bool find(const Value& value) {
    if (found(value)) return true;
    while (!open_.empty()) {
      Open& last = open_.back();
      if (last.next == last.end && last.entry == last.entriesEnd) {
        open_.pop_back();
      } else if (const Value& next = last.next != last.end ? *last.next++ : (last.entry++).value(); found(next)) {
        return true;
      }
    }
    return false;
  }
  [[nodiscard]] std::size_t before() const noexcept { return before_; }

 private:
  struct Open {
    const Value* next = nullptr;
    const Value* end = nullptr;
    Dictionary::Iterator entry = {};
    Dictionary::Iterator entriesEnd = {};
  };

  bool found(const Value& value) {
    if (&value == part_) return true;
    ++before_;
    if (const Array* array = value.ifArray()) open_.push_back({array->begin(), array->end()});
    if (const Dictionary* entries = value.ifDictionary()) open_.push_back({{}, {}, entries->begin(), entries->end()});
    return false;
  }

  const Value* part_;
  std::vector<Open> open_;
  std::size_t before_ = 0;
};

}  // namespace

std::string Location::text() const { return "line " + std::to_string(line) + ", column " + std::to_string(column); }

const ValueLocation* findLocation(const Value& document, const ValueLocations& locations, const Value& part) {
  Search search(part);
  return search.find(document) && search.before() < locations.size() ? &locations[search.before()] : nullptr;
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
