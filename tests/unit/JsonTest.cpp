// The JSON reader, its error messages and locations, and the writer. PropertyListTest.cpp has the round trips.

#include <gmock/gmock.h>
#include <tavik/Json.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "support/Cases.h"

namespace tavik {
namespace {

using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

using namespace std::string_literals;
using namespace std::string_view_literals;

// Reads from a block of exactly this size, so that AddressSanitizer detects reads past the end.
std::optional<Value> read(std::string_view text, std::string& error) {
  const auto block = std::make_unique<char[]>(text.size());
  std::copy(text.begin(), text.end(), block.get());
  return readJson({block.get(), text.size()}, error);
}

Value readable(std::string_view text) {
  std::string error;
  const std::optional<Value> value = read(text, error);
  EXPECT_TRUE(value) << error << " in:\n" << text;
  EXPECT_THAT(error, IsEmpty());
  return value.value_or(Value("unreadable"));
}

std::string refusalOf(std::string_view text) {
  std::string error;
  EXPECT_FALSE(read(text, error)) << text;
  return error;
}

std::string written(const Value& value, JsonLayout layout = JsonLayout::kOneLine) {
  std::string error;
  const std::optional<std::string> text = writeJson(value, error, layout);
  EXPECT_TRUE(text) << error;
  return text.value_or("");
}

TEST(JsonTest, Reads) {
  struct Case {
    std::string_view why;
    std::string text;
    Value value;
  };
  const Case cases[] = {
      {"white space and a byte order mark", "\xEF\xBB\xBF \t\r\n[ 1 , { \"a\" : [ ] } ] ",
       Array::of(1, Dictionary{{"a", Array()}})},
      {"strings", R"(["", "fifteen letters", "sixteen letters.", "é😀"])",
       Array::of("", "fifteen letters", "sixteen letters.", "é😀")},
      {"escapes", R"("\"\\\/\b\f\n\r\t\u0000\u00e9\uFFFF\ud83d\uDE00 and plain text")",
       "\"\\/\b\f\n\r\t\0é\xEF\xBF\xBF😀 and plain text"sv},
      {"a string that is too long for a slab", "\"" + std::string(1000, 'x') + "\"", std::string(1000, 'x')},
      {"integers", "[0,-0,9223372036854775807,-9223372036854775808]",
       Array::of(0, 0, std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min())},
      {"floating-point numbers", "[1e3,1E+2,-0.5e-1,99999999999999999999.0,0.09999999999999999999999]",
       Array::of(1000.0, 100.0, -0.05, 1e20, 0.1)},
      {"numbers too small for a double", "[1e-400,0.00e9999999999999999999,1e-99999999999999999999]",
       Array::of(0.0, 0.0, 0.0)},
      {"data", R"([{"$data": ""}, {"$data":"AQ=="}, {"$data":"AQI="}, {"$data":"AQID"}, {"$data":"//79"}])",
       Array::of(Data(), Data{1}, Data{1, 2}, Data{1, 2, 3}, Data{0xFF, 0xFE, 0xFD})},
      {"dates", R"([{"$date": "2001-01-01T00:00:10.000Z"}, {"$date": "2000-12-31T23:59:59.75Z"}])",
       Array::of(Date::sinceReference(10), Date::sinceReference(-0.25))},
      {"dictionaries that look like encoded values", R"([{"$data": 1, "b": 2}, {"$dictionary": {"$data": "x"}},
         {"$dictionary": {}}, {"$dictionary": {"a": {"\u0024data": "AQ=="}}}, {"\u0024dictionary": {"$": 1}}])",
       Array::of(Dictionary{{"$data", Value(1)}, {"b", Value(2)}}, Dictionary{{"$data", "x"}}, Dictionary(),
                 Dictionary{{"a", Data{1}}}, Dictionary{{"$", Value(1)}})},
      {"\"$dictionary\" as a key among others", R"([{"$dictionary": {"$data": "AQ=="}, "b": 1},
         {"$dictionary": {"$dictionary": {"$data": "AQ=="}}, "b": 1}, {"a": {}, "$dictionary": {"$data": "AQ=="}}])",
       Array::of(Dictionary{{"$dictionary", Data{1}}, {"b", Value(1)}},
                 Dictionary{{"$dictionary", Dictionary{{"$data", "AQ=="}}}, {"b", Value(1)}},
                 Dictionary{{"a", Dictionary()}, {"$dictionary", Data{1}}})},
      {"\"$dictionary\" in \"$dictionary\"", R"([{"$dictionary": {"$dictionary": {"$data": "AQ=="}}},
         {"$dictionary": {"$dictionary": {"$dictionary": {"$x": 1}}}}])",
       Array::of(Dictionary{{"$dictionary", Data{1}}}, Dictionary{{"$dictionary", Dictionary{{"$x", Value(1)}}}})},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Value value = readable(c.text);
    EXPECT_EQ(value, c.value) << description(&value);
    EXPECT_EQ(written(value), written(c.value)) << "including the kind of each number";
  }
  EXPECT_TRUE(std::isnan(readable(R"({"$number": "nan"})").ifReal().value()));
}

TEST(JsonTest, RejectsWithLocation) {
  for (const Case& c : casesIn("json-refused.json")) EXPECT_EQ(refusalOf(c["text"]), c["error"]) << c["text"];
  constexpr std::pair<std::string_view, std::string_view> kNotUtf8[] = {
      {"\"ä\xFF\"", "line 1, column 3"},
      {"\"12345678\xC3\"", "line 1, column 10"},
      {"\"\xED\xA0\x80\"", "line 1, column 2"},
      {"[\xFF]", "line 1, column 2 ([0])"},
  };
  for (const auto& [text, where] : kNotUtf8) EXPECT_EQ(refusalOf(text), std::string(where) + ": invalid UTF-8");

  std::string error;
  EXPECT_FALSE(readJson("\n?", error, 41));
  EXPECT_THAT(error, StartsWith("line 42, column 1: "));
  EXPECT_THAT(refusalOf("[0,[{\"1\":[[{\"a\":[[{\"\":[null"),
              StartsWith("line 1, column 24 (….1[0][0].a[0][0].\"\"[0]): null"));
}

TEST(JsonTest, NestingDepth) {
  const auto nested = [](int count, const std::string& inner = "") {
    return repeated("[", count) + inner + repeated("]", count);
  };
  const auto objects = [](std::string_view key, int count, const std::string& inner) {
    return repeated("{\"" + std::string(key) + "\": ", count) + inner + repeated("}", count);
  };
  constexpr int kLimit = kPropertyListDepthLimit;
  for (const std::string& text :
       {nested(kLimit), nested(kLimit, R"({"$data": ""})"), nested(kLimit - 1, R"({"$dictionary": {"$x": 1}})"),
        objects("a", kLimit, "1"), objects("$dictionary", 2 * kLimit - 1, R"({"$x": 1})")}) {
    EXPECT_EQ(readable(written(readable(text))), readable(text));
  }
  for (const std::string& text :
       {nested(kLimit + 1), nested(kLimit, "{}"), nested(kLimit, R"({"$dictionary": {}})"), nested(1000000),
        repeated("[", 1000000), objects("a", kLimit + 1, "1"), objects("$dictionary", 2 * kLimit, R"({"x": 1})"),
        objects("$dictionary", 100000, "{}"), objects("$data", 100000, "\"\"")}) {
    EXPECT_THAT(refusalOf(text), EndsWith(": nested more than 512 levels deep")) << text.substr(0, 40);
  }
  EXPECT_THAT(refusalOf(nested(kLimit + 1)), StartsWith("line 1, column 513 (…[0]"));
}

TEST(JsonTest, Writes) {
  struct Case {
    std::string_view why;
    Value value;
    std::string_view text;
  };
  const Case cases[] = {
      {"only necessary escapes", "a\"\\/\b\f\n\r\t\0\x1F\x7Fé😀\xE2\x80\xA8"sv,
       "\"a\\\"\\\\/\\b\\f\\n\\r\\t\\u0000\\u001f\x7Fé😀\xE2\x80\xA8\""},
      {"an escape after eight plain characters", "12345678\n12345678\"", R"("12345678\n12345678\"")"},
      {"floating-point numbers",
       Array::of(0.0, -0.0, 3.0, 10.5, 0.1, 1e15, 1e16, 0.0001, 0.00001, 1e300, 123456789012345680.0),
       "[0.0, -0.0, 3.0, 10.5, 0.1, 1000000000000000.0, 1e+16, 0.0001, 1e-05, 1e+300, 1.2345678901234568e+17]"},
      {"numbers that JSON cannot represent", Array::of(HUGE_VAL, -HUGE_VAL, std::nan(""), -std::nan("")),
       R"([{"$number": "inf"}, {"$number": "-inf"}, {"$number": "nan"}, {"$number": "nan"}])"},
      {"scalars", Array::of(true, false, Data{0xDE, 0xAD}, Data(), Date::sinceReference(0.5)),
       R"([true, false, {"$data": "3q0="}, {"$data": ""}, {"$date": "2001-01-01T00:00:00.5Z"}])"},
      {"containers in stored order", Dictionary{{"z", Array()}, {"a", Dictionary{{"", Dictionary()}}}},
       R"({"z": [], "a": {"": {}}})"},
      {"dictionaries that look like encoded values",
       Array::of(Dictionary{{"$", "x"}}, Dictionary{{"$", "x"}, {"b", "y"}}),
       R"([{"$dictionary": {"$": "x"}}, {"$": "x", "b": "y"}])"},
  };
  for (const Case& c : cases) EXPECT_EQ(written(c.value), c.text) << c.why;

  EXPECT_EQ(written(Dictionary{{"list", Array::of(1, Array(), Dictionary{{"$x", "y"}})}, {"empty", Dictionary()}},
                    JsonLayout::kIndented),
            "{\n  \"list\": [\n    1,\n    [],\n    {\"$dictionary\": {\n      \"$x\": \"y\"\n    }}\n  ],\n"
            "  \"empty\": {}\n}");
  std::string text = "prefix ";
  appendJsonString(text, "a\nb");
  EXPECT_EQ(text, R"(prefix "a\nb")");
}

TEST(JsonTest, DoesNotWriteWhatCannotBeReadBack) {
  const Value value = Dictionary{{"Rules", Array::of("a", Date::sinceReference(1e12))}};
  std::string error;
  std::string text = "unchanged";
  EXPECT_FALSE(appendJson(text, value, error));
  EXPECT_EQ(text, "unchanged");
  EXPECT_EQ(error, "Rules[1]: the date 1e+12 seconds from 2001-01-01 00:00:00 +0000 is outside the years 1 to 9999");
  Value deep("inside");
  for (int level = 0; level <= kPropertyListDepthLimit; ++level) deep = Array::of(deep);
  EXPECT_FALSE(writeJson(deep, error));
  EXPECT_THAT(error, EndsWith("nested more than 512 levels deep"));
}

}  // namespace
}  // namespace tavik
