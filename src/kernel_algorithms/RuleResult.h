/// @file
/// Rule result records, and what the predicates share in making them.
#ifndef TAVIK_KERNEL_ALGORITHMS_RULE_RESULT_H
#define TAVIK_KERNEL_ALGORITHMS_RULE_RESULT_H

#include <tavik/Value.h>

#include <string_view>

namespace tavik {

/// A record of "result", "actual" and "expected", with room for "rule".
Dictionary ruleResult(bool result, Value actual, Value expected);

/// A record whose "actual" is a value as it stands and whose "expected" is a text about another. Raises
/// `std::invalid_argument` when `actual` is null.
Dictionary ruleResult(bool result, const Value* actual, std::string_view expectedPattern, const Value* expected);

/// The value's description as a string value.
Value descriptionValue(const Value* value);

/// The elements' descriptions with `delineator` between them; the description of a value that is no array, nothing when
/// it is absent.
Value listText(const Value* list, std::string_view delineator);

/// Whether a predicate may read a number or a truth from the value: a number, a boolean, a string or nothing at all.
bool readsAsScalar(const Value* value) noexcept;

}  // namespace tavik

#endif
