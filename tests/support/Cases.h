/// @file
/// Test cases stored in tests/unit/cases/*.json, each file an array of objects.
#ifndef TAVIK_TESTS_CASES_H
#define TAVIK_TESTS_CASES_H

#include <gtest/gtest.h>
#include <tavik/Json.h>

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

inline std::string repeated(std::string_view text, int count) {
  std::string result;
  for (int index = 0; index < count; ++index) result += text;
  return result;
}

/// Reads hexadecimal bytes separated by spaces.
inline std::vector<std::uint8_t> fromHex(std::string_view hex) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t at = 0; at + 1 < hex.size(); at += 3) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16)));
  }
  return bytes;
}

struct Case {
  Dictionary entries;

  [[nodiscard]] bool has(std::string_view key) const { return entries.contains(key); }
  /// The string entry, or "" if there is none.
  std::string operator[](std::string_view key) const { return std::string(entries.findString(key).value_or("")); }
};

inline std::vector<Case> casesIn(const std::string& name) {
  std::ifstream file(TAVIK_UNIT_CASES + name);
  std::string error;
  const auto read = readJson(std::string(std::istreambuf_iterator<char>(file), {}), error);
  EXPECT_TRUE(read && !read->ifArray()->empty()) << name << ": " << error;
  std::vector<Case> cases;
  if (read) {
    for (const Value& each : *read->ifArray()) cases.push_back({*each.ifDictionary()});
  }
  return cases;
}

}  // namespace tavik

#endif
