/// @file
/// Numbers for values, for comparing many values with many.
#ifndef TAVIK_VALUES_VALUE_NUMBERS_H
#define TAVIK_VALUES_VALUE_NUMBERS_H

#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "values/DictionaryKey.h"

namespace tavik::detail {

/// The integer equal to a floating-point number; absent if there is none.
std::optional<std::int64_t> integerEqualTo(double real) noexcept;

/// Assigns numbers to values; equal values get equal numbers. Takes time linear in the size of the values, counting
/// shared contents once. The values must outlive it.
class ValueNumbers {
 public:
  std::uint64_t of(const Value& value);

 private:
  struct Hash {
    std::size_t operator()(std::string_view text) const noexcept { return Sought(text).hash(); }
  };

  [[nodiscard]] bool isKnown(const Value& value) const;
  std::uint64_t numberOf(const Value& value);
  std::uint64_t numberOfContainer(const Value& value);
  std::uint64_t numberOfSpelling(const std::string& spelling);

  /// By spelling. The spelling of a container lists the numbers of its elements.
  std::unordered_map<std::string, std::uint64_t, Hash> spellings_;
  std::unordered_map<const Shared*, std::uint64_t> containers_;
  std::uint64_t unequal_ = 0;  // counts values that are not equal to themselves
};

}  // namespace tavik::detail

#endif
