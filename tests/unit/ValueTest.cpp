// Values: kinds, copies, order, equality, conversions, descriptions.

#include <gmock/gmock.h>
#include <tavik/PropertyList.h>
#include <tavik/Value.h>
#include <tavik/ValueMaker.h>

#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>

#include "support/Cases.h"

namespace tavik {
namespace {

using testing::ElementsAre;

std::vector<std::string> keysOf(const Dictionary& dictionary) {
  std::vector<std::string> keys;
  for (const auto [key, value] : dictionary) keys.emplace_back(key);
  return keys;
}

TEST(ValueTest, ValuesOfDifferentKindsDiffer) {
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
  static_assert(!std::is_constructible_v<Value, const Array*>, "a pointer is not a boolean");
  static_assert(!std::is_convertible_v<int, Value>, "numbers need an explicit constructor");
  static_assert(!std::is_constructible_v<Value, std::uint64_t>, "may exceed 64 signed bits");
}

TEST(ValueTest, CopyAndMoveOfStringsOfAllLengths) {
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

TEST(ValueTest, MalformedUtf8IsReplaced) {
  struct Case {
    std::string_view bytes, text;
  };
  const Case cases[] = {
      {"plain", "plain"},
      {std::string_view("a\0b", 3), std::string_view("a\0b", 3)},
      {"\xF0\x9F\x98\x80 emoji", "\xF0\x9F\x98\x80 emoji"},
      {"\xFF", "\xEF\xBF\xBD"},
      {"a\xC3", "a\xEF\xBF\xBD"},
      {"\xE2\x82", "\xEF\xBF\xBD"},                              // an incomplete sequence is replaced as a whole
      {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // a surrogate is replaced byte by byte
      {"\xC0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD"},                  // overlong
      {"\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"0123456789abcdef\x80", "0123456789abcdef\xEF\xBF\xBD"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes));
    EXPECT_EQ(Value(c.bytes).ifString(), c.text);
    Dictionary dictionary{{c.bytes, Value(1)}};
    EXPECT_NE(dictionary.find(c.bytes), nullptr);
    EXPECT_TRUE(dictionary.erase(c.bytes));
  }
}

TEST(ValueTest, DictionariesKeepTheirOrder) {
  // Compares with a list of pairs, for dictionaries without (up to 16 keys) and with an index.
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

TEST(ValueTest, MakerMakesTheSameValues) {
  ValueMaker maker(100);
  for (const std::string& text : {std::string("short"), std::string("ill-formed \xFF"), std::string(300, 'x')}) {
    EXPECT_EQ(maker.string(text), Value(text));
  }
  for (const auto& [count, different] : {std::pair(0, 1), {5, 5}, {5, 2}, {40, 40}, {40, 30}}) {
    std::vector<std::pair<Value, Value>> entries;
    Dictionary expected;
    for (int i = 0; i < count; ++i) {
      const std::string key = "a key of some length " + std::to_string(i % different);
      entries.emplace_back(maker.string(key), Value(i));
      expected.set(key, Value(i));
    }
    const Dictionary made = ValueMaker::dictionary(std::move(entries));
    EXPECT_EQ(made, expected);
    EXPECT_EQ(keysOf(made), keysOf(expected));
  }
  EXPECT_THROW(ValueMaker::dictionary({{Value(1), Value(2)}}), std::invalid_argument);
}

TEST(ValueTest, AbsentValues) {
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
  constexpr std::int64_t kBig = (std::int64_t{1} << 53) + 1;  // not representable as a double
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

// Shared values with far more elements than memory could hold.
TEST(ValueTest, SharedPartsAreComparedOnce) {
  const auto doubled = [](Value value, int times) {
    for (int i = 0; i < times; ++i)
      value = i % 2 == 0 ? Value(Array::of(value, value)) : Value(Dictionary{{"a", value}, {"b", value}});
    return value;
  };
  EXPECT_EQ(doubled("x", 100), doubled("x", 100));
  EXPECT_NE(doubled("x", 100), doubled(Array::of(Value(doubled("x", 1)), Value(doubled("y", 1))), 99));
}

TEST(ValueTest, Conversions) {
  for (const Case& c : casesIn("conversions.json")) {
    const Value& value = *c.entries.find("value");
    SCOPED_TRACE(description(&value));
    EXPECT_EQ(Value(integerValue(&value)), *c.entries.find("integer"));
    EXPECT_EQ(Value(longValue(&value)), *c.entries.find("number"));
    EXPECT_EQ(Value(doubleValue(&value)), *c.entries.find("real"));
    EXPECT_EQ(Value(booleanValue(&value)), *c.entries.find("truth"));
  }
  const Value nan(std::nan(""));
  EXPECT_EQ(integerValue(&nan), 0);
  EXPECT_FALSE(booleanValue(&nan));
  EXPECT_EQ(longValue(nullptr), 0);
  EXPECT_EQ(doubleValue(nullptr), 0);
  EXPECT_FALSE(booleanValue(nullptr));
}

TEST(ValueTest, Descriptions) {
  for (const Case& c : casesIn("descriptions.json")) EXPECT_EQ(description(c.entries.find("value")), c["text"]);
  EXPECT_EQ(description(nullptr), "(null)");
}

}  // namespace
}  // namespace tavik
