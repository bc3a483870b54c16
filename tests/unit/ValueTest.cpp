// Values: kinds, copies, order, equality, conversions, descriptions.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tavik/PropertyList.h>
#include <tavik/Value.h>

#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavik {
namespace {

using testing::ElementsAre;

std::vector<std::string> keysOf(const Dictionary& dictionary) {
  std::vector<std::string> keys;
  for (const auto [key, value] : dictionary) keys.emplace_back(key);
  return keys;
}

TEST(ValueTest, KindsStayApart) {
  const Value values[] = {Value(""),
                          Value(1),
                          Value(1.5),
                          Value(true),
                          Value("1"),
                          Value(Data{0x31}),
                          Value(Date::sinceEpoch(1)),
                          Value(Array()),
                          Value(Dictionary()),
                          Value(Data())};
  for (const Value& left : values) {
    for (const Value& right : values) EXPECT_EQ(left == right, &left == &right);
  }
  static_assert(!std::is_constructible_v<Value, const Array*>, "a pointer is no boolean");
  static_assert(!std::is_convertible_v<int, Value>, "numbers are named where they are made");
  static_assert(!std::is_constructible_v<Value, std::uint64_t>, "beyond 64 signed bits");
}

TEST(ValueTest, TextOfEveryLengthSurvivesCopyMoveAndAssignment) {
  for (std::size_t length = 0; length < 40; ++length) {
    const std::string text(length, 'x');
    Value original(text);
    Value copy = original;
    const Value moved = std::move(original);
    EXPECT_EQ(moved.ifString(), text);
    EXPECT_EQ(original.ifString(), "");  // NOLINT(bugprone-use-after-move): the state after a move is defined
    copy = moved;
    copy = *&copy;
    EXPECT_EQ(copy.ifString(), text);
  }
}

TEST(ValueTest, StringsAreAlwaysWellFormed) {
  struct Case {
    std::string_view bytes, text;
  };
  const Case cases[] = {
      {"plain", "plain"},
      {std::string_view("a\0b", 3), std::string_view("a\0b", 3)},
      {"\xF0\x9F\x98\x80 emoji", "\xF0\x9F\x98\x80 emoji"},
      {"\xFF", "\xEF\xBF\xBD"},
      {"a\xC3", "a\xEF\xBF\xBD"},
      {"\xE2\x82", "\xEF\xBF\xBD"},                              // a cut sequence is one malformed sequence
      {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // a surrogate is none at all
      {"\xC0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD"},                  // overlong
      {"\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"0123456789abcdef\x80", "0123456789abcdef\xEF\xBF\xBD"},
  };
  for (const Case& c : cases) EXPECT_EQ(Value(c.bytes).ifString(), c.text) << testing::PrintToString(c.bytes);
}

TEST(ValueTest, CopiesAreIndependent) {
  Dictionary original{{"list", Array::of("a")}, {"name", "x"}};
  Dictionary copy = original;
  copy.set("name", "y");
  copy.erase("list");
  EXPECT_EQ(original, (Dictionary{{"name", "x"}, {"list", Array::of("a")}}));

  Array array = Array::of(1, 2);
  const Array before = array;
  array.append(array);
  array.set(0, array.at(1));
  EXPECT_EQ(before, Array::of(1, 2));
  EXPECT_EQ(array, Array::of(2, 2, Array::of(1, 2)));
  array = before;
  array.append("c");
  EXPECT_EQ(before, Array::of(1, 2));

  Data data{1};
  const Data old = data;
  data = Data{2, 3};
  EXPECT_EQ(old, Data{1});
  data = old;
  EXPECT_EQ(data, Data{1});
}

TEST(ValueTest, DictionaryKeepsOrderThroughEveryChange) {
  // Against a plain list of pairs, small (scanned) and large (indexed), with erasing and storing again.
  std::mt19937 random(1);
  for (const int keys : {4, 16, 17, 300}) {
    Dictionary dictionary;
    std::vector<std::pair<std::string, int>> model;
    for (int step = 0; step < 20 * keys; ++step) {
      const std::string key = "a key of some length " + std::to_string(random() % static_cast<unsigned>(keys));
      const auto stored = std::ranges::find(model, key, &std::pair<std::string, int>::first);
      if (random() % 3 == 0) {
        EXPECT_EQ(dictionary.erase(key), stored != model.end());
        if (stored != model.end()) model.erase(stored);
      } else if (stored != model.end()) {
        dictionary.set(key, Value(step));
        stored->second = step;
      } else if (random() % 4 == 0) {
        dictionary.setFirst(key, Value(step));
        model.insert(model.begin(), {key, step});
      } else {
        dictionary.set(key, Value(step));
        model.emplace_back(key, step);
      }
      if (step % 7 == 0) dictionary = Dictionary(dictionary);
    }
    ASSERT_EQ(dictionary.size(), model.size());
    auto expected = model.begin();
    for (const auto [key, value] : dictionary) {
      EXPECT_EQ(key, expected->first);
      EXPECT_EQ(value, Value(expected->second));
      EXPECT_EQ(dictionary.find(key), &value);
      ++expected;
    }
  }
}

TEST(ValueTest, StoringAbsent) {
  Dictionary dictionary{{"a", "1"}, {"b", "2"}, {"c", "3"}};
  EXPECT_THROW(dictionary.set("a", nullptr), std::invalid_argument);
  EXPECT_THROW(Value(static_cast<const char*>(nullptr)), std::invalid_argument);
  dictionary.setOrRemove("b", nullptr);
  dictionary.setOrRemove("missing", nullptr);
  const Value value("4");
  dictionary.setOrRemove("b", &value);
  EXPECT_THAT(keysOf(dictionary), ElementsAre("a", "c", "b"));
  EXPECT_THROW(static_cast<void>(Array().at(0)), std::out_of_range);
  EXPECT_THROW(Array::of("a").set(1, "b"), std::out_of_range);
  dictionary.setAll(dictionary);
  EXPECT_EQ(dictionary.size(), 3U);
  Dictionary empty;
  empty.setAll(dictionary);
  EXPECT_EQ(empty, dictionary);
  EXPECT_EQ(dictionary.findArray("a"), nullptr);
}

TEST(ValueTest, EqualityOfNumbersIsExact) {
  constexpr std::int64_t kBig = (std::int64_t{1} << 53) + 1;  // no double is equal to it
  EXPECT_EQ(Value(5), Value(5.0));
  EXPECT_NE(Value(kBig), Value(static_cast<double>(kBig)));
  EXPECT_NE(Value(std::numeric_limits<std::int64_t>::max()), Value(9223372036854775808.0));
  EXPECT_EQ(Value(std::numeric_limits<std::int64_t>::min()), Value(-9223372036854775808.0));
  EXPECT_NE(Value(0), Value(-1e300));
  EXPECT_NE(Value(2.5), Value(2));
  EXPECT_NE(Value(std::nan("")), Value(std::nan("")));
  EXPECT_NE(Value(1), Value(true));
  EXPECT_EQ(Value(Dictionary{{"a", Value(1)}, {"b", Value(2)}}), Value(Dictionary{{"b", Value(2.0)}, {"a", Value(1)}}));
  EXPECT_NE(Value(Dictionary{{"a", "1"}}), Value(Dictionary{{"b", "1"}}));
  EXPECT_NE(Value(Array::of(Array::of(1, 2))), Value(Array::of(Array::of(1, 3))));
  EXPECT_NE(Value(Array::of(Array::of(1, 2))), Value(Array::of(Array::of(1))));
  EXPECT_NE(Value(Array::of(Dictionary{{"a", "1"}})), Value(Array::of(Dictionary{{"a", "2"}})));
  EXPECT_NE(Value(Array::of(Dictionary{{"a", "1"}})), Value(Array::of(Dictionary())));
}

// Values that stand for far more elements than memory has.
TEST(ValueTest, WhatIsSharedOverAndOverIsComparedOnce) {
  const auto doubled = [](Value value, int times) {
    for (int i = 0; i < times; ++i)
      value = i % 2 == 0 ? Value(Array::of(value, value)) : Value(Dictionary{{"a", value}, {"b", value}});
    return value;
  };
  EXPECT_EQ(doubled("x", 100), doubled("x", 100));
  EXPECT_NE(doubled("x", 100), doubled(Array::of(Value(doubled("x", 1)), Value(doubled("y", 1))), 99));
}

TEST(ValueTest, Conversions) {
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  constexpr auto kLongMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kLongMin = std::numeric_limits<std::int64_t>::min();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  struct Case {
    Value value;
    std::int32_t integer;
    std::int64_t number;
    double real;
    bool truth;
  };
  const Case cases[] = {
      {Value("0042"), 42, 42, 42, true},
      {Value("12abc"), 12, 12, 12, true},
      {Value("abc"), 0, 0, 0, false},
      {Value(""), 0, 0, 0, false},
      {Value(" \t\n-7"), -7, -7, -7, true},
      {Value("\u3000\u00A0+8"), 8, 8, 8, true},
      {Value("+-8"), 0, 0, 0, false},
      {Value("0x10"), 0, 0, 0, false},
      {Value("2147483648"), kMax, 2147483648, 2147483648.0, true},
      {Value("-99999999999999999999"), kMin, kLongMin, -1e20, true},
      {Value("-9223372036854775808"), kMin, kLongMin, -9223372036854775808.0, true},
      {Value("9223372036854775807"), kMax, kLongMax, 9223372036854775807.0, true},
      {Value("5."), 5, 5, 5, true},
      {Value(".5"), 0, 0, 0.5, false},
      {Value("."), 0, 0, 0, false},
      {Value("1.5.5"), 1, 1, 1.5, true},
      {Value("1e3"), 1, 1, 1000, true},
      {Value("1e+"), 1, 1, 1, true},
      {Value("1E3"), 1, 1, 1000, true},
      {Value("1e999"), 1, 1, kInfinity, true},
      {Value(std::string(400, '9')), kMax, kLongMax, kInfinity, true},
      {Value("0." + std::string(400, '0') + "1"), 0, 0, 0, false},
      {Value("0e999999"), 0, 0, 0, false},
      {Value("-0.001e400"), 0, 0, -kInfinity, false},
      {Value("1e-999"), 1, 1, 0, true},
      {Value("inf"), 0, 0, 0, false},
      {Value("nan"), 0, 0, 0, false},
      {Value("yes"), 0, 0, 0, true},
      {Value("True"), 0, 0, 0, true},
      {Value("-007"), -7, -7, -7, true},
      {Value("no"), 0, 0, 0, false},
      {Value("0"), 0, 0, 0, false},
      {Value(-3.9), -3, -3, -3.9, true},
      {Value(1e300), kMax, kLongMax, 1e300, true},
      {Value(-1e300), kMin, kLongMin, -1e300, true},
      {Value(-(std::int64_t{1} << 40)), kMin, -(std::int64_t{1} << 40), -1099511627776.0, true},
      {Value(0.0), 0, 0, 0, false},
      {Value(std::int64_t{1} << 40), kMax, std::int64_t{1} << 40, 1099511627776.0, true},
      {Value(true), 1, 1, 1, true},
      {Value(Data{1}), 0, 0, 0, false},
      {Value(Array::of("1")), 0, 0, 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(description(&c.value));
    EXPECT_EQ(integerValue(&c.value), c.integer);
    EXPECT_EQ(longValue(&c.value), c.number);
    EXPECT_EQ(doubleValue(&c.value), c.real);
    EXPECT_EQ(booleanValue(&c.value), c.truth);
  }
  const Value nan(std::nan(""));
  EXPECT_EQ(integerValue(&nan), 0);
  EXPECT_FALSE(booleanValue(&nan));
  EXPECT_EQ(longValue(nullptr), 0);
  EXPECT_EQ(doubleValue(nullptr), 0);
  EXPECT_FALSE(booleanValue(nullptr));
}

TEST(ValueTest, Descriptions) {
  struct Case {
    Value value;
    const char* text;
  };
  const Case cases[] = {
      {Value("as \"it\" is\n"), "as \"it\" is\n"},
      {Value(-5), "-5"},
      {Value(3.0), "3"},
      {Value(0.1), "0.1"},
      {Value(100000.0), "100000"},
      {Value(0.0001), "0.0001"},
      {Value(0.00001), "1e-05"},
      {Value(9007199254740993.0), "9007199254740992"},
      {Value(1e16), "1e+16"},
      {Value(1e300), "1e+300"},
      {Value(5e-324), "5e-324"},
      {Value(true), "1"},
      {Value(false), "0"},
      {Value(Data{1, 2, 3, 4, 5}), "<01020304 05>"},
      {Value(Data{1, 2, 3, 0xFF}), "<010203ff>"},
      {Value(Data()), "<>"},
      {Value(Date::sinceEpoch(1795223523)), "2026-11-21 01:12:03 +0000"},
      {Value(Array()), "()"},
      {Value(Array::of("a b", 1, Array::of(Dictionary{{"k-1", Data{9}}}))),
       "(\n    \"a b\",\n    1,\n    (\n        {\n            k-1 = <09>;\n        }\n    )\n)"},
  };
  for (const Case& c : cases) EXPECT_EQ(description(&c.value), c.text);
  EXPECT_EQ(description(nullptr), "(null)");
}

TEST(ValueTest, ListingsReadBackAsText) {
  const Value listing(Dictionary{{"plain", "A_1.x-y"},
                                 {"", Array::of("", "a//b", "/* c */", "<00>", "\"\\\t\r\n\x01", "\u00E9\U0001F600")},
                                 {"key with = and ;", Dictionary{{"data", Data{0, 1}}, {"none", Array()}}}});
  const std::string text = description(&listing);
  std::string error;
  const auto read = readPropertyList({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, error);
  ASSERT_TRUE(read) << error << '\n' << text;
  EXPECT_EQ(*read, listing) << text;
}

}  // namespace
}  // namespace tavik
