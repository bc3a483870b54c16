/// @file
/// A value that a rule expects, or a part of it, and whether anything can pass by it.
#ifndef TAVIK_TOOL_LINT_VALUE_PART_H
#define TAVIK_TOOL_LINT_VALUE_PART_H

#include "lint/Rule.h"

namespace tavik::tool::lint {

/// A value, or a part of one, with what is to be known of it.
struct ValuePart {
  const Rule& rule;
  const Rule::Operand& operand;
  const ValueFacts& facts;
  const Place& place;
  /// Nothing passes that does not pass here; else other parts may still do.
  bool alone;
  /// The part is the key of a table.
  bool isKey = false;

  /// What the text is that the part may be.
  [[nodiscard]] std::optional<std::string_view> text() const {
    return isKey ? std::optional(place.key()) : place.value().ifString();
  }
};

/// Why a part is of a kind that is not taken; empty where it is taken.
std::string wrongKindOf(const ValuePart& part);
/// Why an empty part never passes, or always does.
std::string emptinessOf(const ValuePart& part);
/// Why a text is none that can pass.
std::string impossibilityOf(const ValuePart& part);

[[nodiscard]] bool isEmpty(const ValuePart& part);
/// A list or table that has elements, none of which anything passes by.
[[nodiscard]] bool allDead(const ValuePart& part);
/// Nothing passes by the part.
[[nodiscard]] bool neverPasses(const ValuePart& part);

[[nodiscard]] Rule::Forecast forecastOf(Without without);
/// What becomes of a predicate, as far as the documents say it.
[[nodiscard]] Rule::Forecast forecastOf(const Rule& rule, const Rule::Operand& operand);

}  // namespace tavik::tool::lint

#endif
