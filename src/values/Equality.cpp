// Equality of values at any depth. Containers still to be compared are kept in a list, not on the stack.

#include <tavik/Value.h>

#include <optional>
#include <utility>
#include <vector>

#include "values/SharedContents.h"
#include "values/ValueNumbers.h"

namespace tavik {

using detail::ValueAccess;

namespace {

// Exact, even if a double cannot represent the integer.
bool equalNumbers(std::int64_t integer, double real) noexcept { return detail::integerEqualTo(real) == integer; }

bool equalNumbers(const Value& left, const Value& right) noexcept {
  const auto leftInteger = left.ifInteger();
  const auto rightInteger = right.ifInteger();
  if (leftInteger && rightInteger) return *leftInteger == *rightInteger;
  if (leftInteger) return equalNumbers(*leftInteger, *right.ifReal());
  if (rightInteger) return equalNumbers(*rightInteger, *left.ifReal());
  return *left.ifReal() == *right.ifReal();
}

class Comparison {
 public:
  // Compares values without looking inside containers; containers of the same size are queued.
  bool mayBeEqual(const Value& left, const Value& right) {
    if (left.kind() != right.kind()) return false;
    switch (left.kind()) {
      case Kind::kString:
        return left.ifString() == right.ifString();
      case Kind::kNumber:
        return equalNumbers(left, right);
      case Kind::kBoolean:
        return left.ifBoolean() == right.ifBoolean();
      case Kind::kData:
        return *left.ifData() == *right.ifData();
      case Kind::kDate:
        return left.ifDate() == right.ifDate();
      case Kind::kArray:
        return mayBeEqual(*left.ifArray(), *right.ifArray());
      case Kind::kDictionary:
        return mayBeEqual(*left.ifDictionary(), *right.ifDictionary());
    }
    return false;
  }

  bool mayBeEqual(const Array& left, const Array& right) {
    if (left.size() != right.size()) return false;
    if (!ValueAccess::sameContents(left, right)) arrays_.emplace_back(&left, &right);
    return true;
  }

  bool mayBeEqual(const Dictionary& left, const Dictionary& right) {
    if (left.size() != right.size()) return false;
    if (!ValueAccess::sameContents(left, right)) dictionaries_.emplace_back(&left, &right);
    return true;
  }

  // Absent if the number of comparisons suggests that the values contain the same shared contents many times.
  std::optional<bool> decide() {
    constexpr std::size_t kMany = std::size_t{1} << 26;
    while (compared_ < kMany) {
      if (!arrays_.empty()) {
        const auto [left, right] = arrays_.back();
        arrays_.pop_back();
        if (!elementsMayBeEqual(*left, *right)) return false;
      } else if (!dictionaries_.empty()) {
        const auto [left, right] = dictionaries_.back();
        dictionaries_.pop_back();
        if (!entriesMayBeEqual(*left, *right)) return false;
      } else {
        return true;
      }
    }
    return std::nullopt;
  }

 private:
  bool elementsMayBeEqual(const Array& left, const Array& right) {
    compared_ += left.size();
    const Value* other = right.begin();
    for (const Value& element : left) {
      if (!mayBeEqual(element, *other++)) return false;
    }
    return true;
  }

  bool entriesMayBeEqual(const Dictionary& left, const Dictionary& right) {
    compared_ += left.size();
    for (const auto [key, value] : left) {
      const Value* other = right.find(key);
      if (other == nullptr || !mayBeEqual(value, *other)) return false;
    }
    return true;
  }

  std::vector<std::pair<const Array*, const Array*>> arrays_;
  std::vector<std::pair<const Dictionary*, const Dictionary*>> dictionaries_;
  std::size_t compared_ = 0;
};

template <class Contents>
bool equal(const Contents& left, const Contents& right) {
  Comparison comparison;
  if (!comparison.mayBeEqual(left, right)) return false;
  if (const std::optional<bool> decision = comparison.decide()) return *decision;
  const Value leftValue(left);
  const Value rightValue(right);
  detail::ValueNumbers numbers;
  return numbers.of(leftValue) == numbers.of(rightValue);
}

}  // namespace

bool operator==(const Value& left, const Value& right) {
  const bool areIntegers = left.ifInteger() && right.ifInteger();
  if (areIntegers || ValueAccess::isShort(left)) return ValueAccess::bits(left) == ValueAccess::bits(right);
  if (ValueAccess::isLong(left)) return ValueAccess::text(left) == ValueAccess::text(right);
  return equal(left, right);
}
bool operator==(const Array& left, const Array& right) { return equal(left, right); }
bool operator==(const Dictionary& left, const Dictionary& right) { return equal(left, right); }

}  // namespace tavik
