/// @file
/// Numbers for values, where many are held against many.
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

/// The integer that a floating-point number is equal to, absent when there is none.
std::optional<std::int64_t> integerEqualTo(double real) noexcept;

/// Gives values numbers, equal ones the same. The time is linear in the values' size, where contents that stand in
/// many places count once. The values must outlive it.
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

  /// From a spelling, in which a container names its elements by their numbers.
  std::unordered_map<std::string, std::uint64_t, Hash> spellings_;
  std::unordered_map<const Shared*, std::uint64_t> containers_;
  std::uint64_t unequal_ = 0;  // values that not even equal themselves
};

}  // namespace tavik::detail

#endif
