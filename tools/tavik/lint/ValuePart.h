/// @file
/// An expected value of a rule, or a part of it, and whether anything can match it.
#ifndef TAVIK_TOOL_LINT_VALUE_PART_H
#define TAVIK_TOOL_LINT_VALUE_PART_H

#include "lint/Rule.h"

namespace tavik::tool::lint {

/// A value, or a part of one, and how it is used.
struct ValuePart {
  const Rule& rule;
  const Rule::Operand& operand;
  const ValueFacts& facts;
  const Place& place;
  /// Nothing passes unless this part matches; otherwise other parts may still match.
  bool alone;
  /// The part is the key of a table.
  bool isKey = false;

  /// The string, if the part may be one.
  [[nodiscard]] std::optional<std::string_view> text() const {
    return isKey ? std::optional(place.key()) : place.value().ifString();
  }
};

/// Why the kind of a part is not accepted; empty if it is.
std::string wrongKindOf(const ValuePart& part);
/// Why an empty part never passes, or always does.
std::string emptinessOf(const ValuePart& part);
/// Why a string can never match.
std::string impossibilityOf(const ValuePart& part);

[[nodiscard]] bool isEmpty(const ValuePart& part);
/// A nonempty list or table none of whose elements can match.
[[nodiscard]] bool allDead(const ValuePart& part);
/// Nothing can match the part.
[[nodiscard]] bool neverPasses(const ValuePart& part);

[[nodiscard]] Rule::Forecast forecastOf(Without without);
/// The result of a predicate, as far as the documents determine it.
[[nodiscard]] Rule::Forecast forecastOf(const Rule& rule, const Rule::Operand& operand);

}  // namespace tavik::tool::lint

#endif
