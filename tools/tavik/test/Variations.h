/// @file
/// Values that differ from a value in one small step.
#ifndef TAVIK_TOOL_TEST_VARIATIONS_H
#define TAVIK_TOOL_TEST_VARIATIONS_H

#include <tavik/PredicateFacts.h>
#include <tavik/Value.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool {

/// Lists and tables are varied in this many of their elements at most.
inline constexpr std::size_t kMostVaried = 64;

/// Visits the variations of a value: another letter, a letter less or more, a number one less or more, a changed bit,
/// an element or entry removed, changed or added.
///
/// facts: how a predicate reads the value, null if unknown. Variations that it reads as the same value are left out.
void forEachVariation(const Value& value, const ValueFacts* facts, const std::function<void(Value)>& visit);
std::vector<Value> variationsOf(const Value& value, const ValueFacts* facts = nullptr);

/// The letter or digit at a position replaced by a neighbor, such as "b" for "a"; the text itself if it is neither.
std::string withOtherLetter(std::string_view text, std::size_t position);

/// Whether a predicate reads both values as the same.
bool readsTheSame(const ValueFacts& facts, const Value& first, const Value& second);

/// What a step changed: `65 instead of 64`, `without "sand"`, `"Mask": {...} instead of {...}`.
std::string changeText(const Value& before, const Value& after);

/// The value as visible JSON, cut to a length for messages.
std::string shortJson(const Value& value, std::size_t width = 60);

}  // namespace tavik::tool

#endif
