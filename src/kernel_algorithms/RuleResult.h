/// @file
/// Rule result records, and what the predicates share in making them.
#ifndef TAVIK_KERNEL_ALGORITHMS_RULE_RESULT_H
#define TAVIK_KERNEL_ALGORITHMS_RULE_RESULT_H

#include <tavik/Value.h>

#include <optional>
#include <string_view>
#include <utility>

#include "values/SharedContents.h"

namespace tavik {

/// What a predicate says, while it is not yet a record.
struct RuleResult {
  RuleResult(bool passed, Value found, Value wanted, std::optional<Value> forwarded = std::nullopt)
      : result(passed), actual(std::move(found)), expected(std::move(wanted)), attributes(std::move(forwarded)) {}

  bool result;
  Value actual;
  Value expected;
  std::optional<Value> attributes;  ///< for the station

  /// Of a predicate's record.
  static RuleResult of(const Dictionary& record);
  /// The record of a predicate.
  Dictionary record() &&;
};

/// The record of a check run, cut from slabs.
inline Value checkRecord(const Value& rule, bool result, Value&& actual, Value&& expected, detail::SlabCutter& slabs) {
  Value name = detail::ValueAccess::copied(rule, slabs);
  detail::SmallDictionary record(detail::Entries::make(4, slabs));
  record.add("rule", std::move(name));
  record.add("result", Value(result));
  record.add("actual", std::move(actual));
  record.add("expected", std::move(expected));
  return detail::ValueAccess::valueOf(std::move(record).take());
}

/// A record of "result", "actual" and "expected", with room for "rule".
Dictionary ruleResult(bool result, Value actual, Value expected);

/// A record whose "actual" is a value as it stands and whose "expected" is a text about another. Raises
/// `std::invalid_argument` when `actual` is null.
Dictionary ruleResult(bool result, const Value* actual, std::string_view expectedPattern, const Value* expected);

/// The value, which a record is to hold under `key`. Raises `std::invalid_argument` when it is null.
const Value& present(const Value* value, const char* key = "actual");

/// The value's description as a string value.
Value descriptionValue(const Value* value);

/// The elements' descriptions with `delineator` between them; the description of a value that is no array, nothing when
/// it is absent.
Value listText(const Value* list, std::string_view delineator);

/// Whether a predicate may read a number or a truth from the value: a number, a boolean, a string or nothing at all.
inline bool readsAsScalar(const Value* value) noexcept {
  if (value == nullptr) return true;
  const Kind kind = value->kind();
  return kind == Kind::kNumber || kind == Kind::kString || kind == Kind::kBoolean;
}

}  // namespace tavik

#endif
