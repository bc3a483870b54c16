// JSON. A rejection must have a reason, and must be the same with locations. An accepted value is written in both
// layouts, read back and written again with the same result.

#include <tavik/Json.h>

#include <cstdlib>
#include <vector>

#include "Locations.h"

namespace {

using namespace tavik;

void require(bool condition) {
  if (!condition) std::abort();
}

void roundTrip(const Value& value, JsonLayout layout) {
  std::string error;
  const std::optional<std::string> once = writeJson(value, error, layout);
  require(once.has_value());
  const std::optional<Value> again = readJson(*once, error);
  require(again.has_value());
  require(writeJson(*again, error, layout) == once);
  require(writePropertyList(*again, PropertyListFormat::kBinary, error) ==
          writePropertyList(value, PropertyListFormat::kBinary, error));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<char> block(data, data + size);  // a separate block of exactly this size
  const std::string_view text(block.data(), block.size());
  std::string error;
  std::string sameError;
  ValueLocations locations;
  const std::optional<Value> value = readJson(text, error);
  const std::optional<Value> located = readJson(text, sameError, locations);
  require(value.has_value() == error.empty());
  require(error == sameError);
  const bool hasId = readJsonMember(text, "id").has_value();
  if (!value) return 0;
  require(!hasId || value->ifDictionary()->contains("id"));
  requireLocations(text, *located, locations);
  roundTrip(*value, JsonLayout::kOneLine);
  roundTrip(*value, JsonLayout::kIndented);
  return 0;
}
