// Locations of values: one per value in document order, in each text encoding.

#include <tavik/Json.h>

#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

using testing::IsEmpty;

Value read(std::string_view document, ValueLocations& locations) {
  std::string error;
  const bool isJson = !document.starts_with('<') && document.find(';') == std::string_view::npos;
  std::optional<Value> value =
      isJson ? readJson(document, error, locations) : readPropertyList(bytesOf(document), error, locations);
  EXPECT_TRUE(value) << error;
  return value.value_or(Value());
}

// "1:2 3:4": the line and column of each value; "1:2>1:8" if the value has a key.
std::string shown(const ValueLocations& locations) {
  const auto numbers = [](Location location) {
    return std::to_string(location.line) + ":" + std::to_string(location.column);
  };
  std::string text;
  for (const auto& [value, key] : locations) {
    text += (text.empty() ? "" : " ") + (key ? numbers(*key) + ">" : "") + numbers(value);
  }
  return text;
}

TEST(LocationTest, EachValueInEachEncoding) {
  for (const Case& c : casesIn("locations.json")) {
    SCOPED_TRACE(c["why"]);
    ValueLocations locations;
    read(c["document"], locations);
    EXPECT_EQ(shown(locations), c["locations"]);
  }
}

TEST(LocationTest, EmptyForRejectedAndBinaryDocuments) {
  ValueLocations locations(3);
  std::string error;
  EXPECT_FALSE(readJson("[1, null]", error, locations));
  EXPECT_THAT(locations, IsEmpty());
  locations.resize(3);
  EXPECT_FALSE(readPropertyList(bytesOf("<array><true/>"), error, locations));
  EXPECT_THAT(locations, IsEmpty());
  locations.resize(3);
  const Data binary = writePropertyList(Array::of(1, 2), PropertyListFormat::kBinary, error).value();
  EXPECT_TRUE(readPropertyList(binary.bytes(), error, locations));
  EXPECT_THAT(locations, IsEmpty());
}

TEST(LocationTest, LookupByAddressOfValue) {
  ValueLocations locations;
  const Value document = read("{\"a\": [1, 1],\n \"b\": {\"c\": 1}}", locations);
  const auto lineAndColumn = [&](const Value& part) {
    const ValueLocation* found = findLocation(document, locations, part);
    return found == nullptr ? "none" : found->value.text();
  };
  const Dictionary& entries = *document.ifDictionary();
  EXPECT_EQ(lineAndColumn(document), "line 1, column 1");
  EXPECT_EQ(lineAndColumn(entries.findArray("a")->at(1)), "line 1, column 11");
  EXPECT_EQ(lineAndColumn(*entries.findDictionary("b")->find("c")), "line 2, column 13");
  EXPECT_EQ(lineAndColumn(Value(1)), "none");
  EXPECT_EQ(findLocation(document, {}, document), nullptr) << "no locations";
}

}  // namespace
}  // namespace tavik
