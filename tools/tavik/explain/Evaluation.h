/// @file
/// One rule and one device: what the rule's predicates are called with, and what each of them says. The predicates,
/// NOT, AND and OR are the library's own.
#ifndef TAVIK_TOOL_EXPLAIN_EVALUATION_H
#define TAVIK_TOOL_EXPLAIN_EVALUATION_H

#include <tavik/Error.h>
#include <tavik/PredicateKernel.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/Fault.h"

namespace tavik::tool {

/// What a device and other sources hold, for the length of a check.
class Findings {
 public:
  /// Packed attributes are expanded as in a check.
  Findings(Dictionary attributes, Dictionary sources);

  [[nodiscard]] const Dictionary& attributes() const noexcept { return attributes_; }
  [[nodiscard]] const Value* inSource(const Value& source, std::string_view name) const noexcept;

 private:
  Dictionary attributes_;
  Dictionary sources_;
};

struct ReferenceFound {
  std::optional<std::string> name;    ///< absent: neither the reference nor the rule has one
  std::optional<std::string> source;  ///< absent: the device itself
  std::optional<Value> value;         ///< absent: not found
};

/// A predicate as a rule calls it.
struct PredicateCall {
  std::string word;
  bool withReferences;
  bool known;                      ///< in this form
  std::optional<Dictionary> step;  ///< its record, where it was called and no fault ended it

  /// "equal:value:" or "equal:references:value:".
  [[nodiscard]] std::string operation() const;
  /// What is to be said of one that is not known; empty for others.
  [[nodiscard]] std::string trouble() const;
};

struct Evaluation {
  enum class Combination : std::uint8_t { kNone, kNot, kAnd, kOr };

  /// The rule asks for the absence of its attribute, and calls nothing.
  bool wantsAbsence = false;
  std::optional<std::string> attributeName;
  std::optional<Value> attribute;
  std::vector<ReferenceFound> references;
  /// A rule with references and without a value, whose predicate takes the first reference as its value.
  bool referenceIsValue = false;
  /// What the predicates are given as the expected value.
  std::optional<Value> value;
  Combination combination = Combination::kNone;
  std::vector<PredicateCall> calls;
  std::optional<Error> malformed;  ///< of the predicate expression, which would end a check
  /// What a check says of the rule; absent when it ends there instead, by `malformed` or `fault`.
  std::optional<Dictionary> record;
  std::optional<Fault> fault;
};

Evaluation evaluate(const RuleOrigin& rule, const Findings& findings, const PredicateKernel& kernel);

/// "NOT", "AND", "OR"; empty for none.
std::string_view wordFor(Evaluation::Combination combination);

}  // namespace tavik::tool

#endif
