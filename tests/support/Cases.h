/// @file
/// Cases that are kept in files: tests/unit/cases/*.json, each an array of objects.
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

struct Case {
  Dictionary entries;

  [[nodiscard]] bool has(std::string_view key) const { return entries.contains(key); }
  /// Empty without an entry.
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
