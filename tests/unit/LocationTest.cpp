// Locations of values: one per value in document order, in each text encoding, whatever surrounds the values.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tavik/Json.h>

#include <string>
#include <string_view>

namespace tavik {
namespace {

using testing::IsEmpty;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

Value read(std::string_view document, ValueLocations& locations) {
  std::string error;
  const bool isJson = !document.starts_with('<') && document.find(';') == std::string_view::npos;
  std::optional<Value> value =
      isJson ? readJson(document, error, locations) : readPropertyList(bytesOf(document), error, locations);
  EXPECT_TRUE(value) << error;
  return value.value_or(Value());
}

// "1:2 3:4": line and column of each value, after those of its key if it has one ("1:2>1:8").
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

TEST(LocationTest, OfEachValueInEachEncoding) {
  struct Case {
    std::string_view why;
    std::string_view document;
    std::string_view locations;
  };
  const Case cases[] = {
      {"JSON", "{\"a\": [1, \"é\", true],\n \"b\" : {\"c\": -2.5}, \"d\": {}}",
       "1:1 1:2>1:7 1:8 1:11 1:16 2:2>2:8 2:9>2:14 2:21>2:26"},
      {"JSON, byte order mark and line ends", "\xEF\xBB\xBF[\r\n1,\r2,\n\"é\", 3]", "1:1 2:1 2:4 3:1 3:6"},
      {"JSON, a form is one value",
       R"([{"$data": "AA=="}, {"$date": "2026-11-21T01:02:03Z"}, {"$number": "nan"}, {"a": {"$data": ""}}, 1])",
       "1:1 1:2 1:21 1:56 1:76 1:77>1:82 1:98"},
      {"JSON, \"$dictionary\" is one dictionary", R"({"$dictionary": {"$x": [1]}})", "1:1 1:18>1:24 1:25"},
      {"JSON, \"$dictionary\" among others", R"({"$dictionary": {"x": 1}, "b": 2})",
       "1:1 1:2>1:17 1:18>1:23 1:27>1:32"},
      {"XML",
       "<?xml version='1.0'?>\n<plist><!-- é --><dict>\r<key>a</key> <array><integer>1</integer>\r\n<string/>"
       "</array>\n\t<key>b</key><true/><key>c</key><dict/></dict></plist>",
       "2:18 3:1>3:14 3:21 4:1 5:2>5:14 5:21>5:33"},
      {"XML without a frame", "<array><data>AA==</data><string>é</string><real>1</real></array>", "1:1 1:8 1:25 1:43"},
      {"old-style text", "{ a = (b, \"é\", <00>);\n// comment\n \"c\" = { d = e; }; }",
       "1:1 1:3>1:7 1:8 1:11 1:16 3:2>3:8 3:10>3:14"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    ValueLocations locations;
    read(c.document, locations);
    EXPECT_EQ(shown(locations), c.locations);
  }
}

TEST(LocationTest, StayEmptyWithoutAnyToGive) {
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

TEST(LocationTest, AreFoundByTheAddressOfAValue) {
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
  EXPECT_EQ(findLocation(document, {}, document), nullptr) << "the locations of another document";
}

}  // namespace
}  // namespace tavik
