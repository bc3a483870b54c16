/// @file
/// Values near another one: wrong expected values, and attributes just inside and outside of what a rule accepts.
#ifndef TAVIK_TOOL_RULES_NEARBY_VALUES_H
#define TAVIK_TOOL_RULES_NEARBY_VALUES_H

#include <tavik/PredicateFacts.h>
#include <tavik/Value.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace tavik::tool {

/// Returns whether to stop.
using ValueVisitor = std::function<bool(const Value&)>;

enum class Density : std::uint8_t {
  kSparse,  ///< each kind of step once, and for the first elements of lists and tables
  kDense,   ///< also for each letter and byte, and extreme values
};

/// Visits values that differ from a value in one small step: another letter, a letter less or more, a number one less
/// or more, a changed bit, an element or entry removed, changed or added. Returns whether `visit` stopped it.
///
/// facts: how a predicate reads the value, null if unknown. Values that it reads as the same are left out.
bool anyNearby(const Value& value, const ValueFacts* facts, Density density, const ValueVisitor& visit);

/// Visits values made of an attribute and a value that rules compare it with: a text that begins with the other one, a
/// list that also contains it, or the number in bytes of a bound in gigabytes. Returns whether `visit` stopped it.
///
/// current: null if the device lacks the attribute.
bool anyMixture(const Value* current, const Value& other, const ValueVisitor& visit);

/// Whether a predicate reads both values as the same.
bool readsTheSame(const ValueFacts& facts, const Value& first, const Value& second);

inline constexpr double kGigabyte = 1e9;
inline constexpr double kMebibyte = 1048576;

/// A bound and the numbers up to two units from it. The results of predicates that round to units change among these.
std::array<double, 7> numbersNear(double bound, double unit);

/// An integer if possible.
Value numberValue(double number);

/// The data that a text of hexadecimal digits, spaces and angle brackets describes; absent for any other text.
std::optional<Data> describedData(std::string_view text);

}  // namespace tavik::tool

#endif
