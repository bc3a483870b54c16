#ifndef TAVIK_RULE_EVALUATION_H
#define TAVIK_RULE_EVALUATION_H

#include <tavik/CheckOutcome.h>
#include <tavik/Error.h>
#include <tavik/PredicateExpression.h>
#include <tavik/PredicateKernel.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <optional>
#include <string>
#include <vector>

namespace tavik {

/// The evaluation of one rule for one device, step by step: the predicates' arguments and their sources, what each
/// predicate returned, and the record. Check runs use the same evaluation.
struct TAVIK_EXPORT RuleEvaluation {
  /// A value that the rule reads.
  struct Operand {
    std::optional<std::string> name;    ///< absent: neither the reference nor the rule names an attribute
    std::optional<std::string> source;  ///< the description of the reference's "source"; absent: the device
    std::optional<Value> value;         ///< absent: not found
  };

  /// A predicate of the rule's expression.
  struct TAVIK_EXPORT Call {
    std::string word;                            ///< as spelled in the expression
    bool withReferences;                         ///< called in the form (attribute, references, value)
    bool isKnown;                                ///< whether a predicate of that name and form exists
    std::optional<Value> record = std::nullopt;  ///< what it returned, a dictionary; absent if it did not return

    /// The name of the operation called: "equal:value:" or "equal:references:value:".
    [[nodiscard]] std::string operation() const;
  };

  /// Whether the rule's name begins with "No Attribute". Such a rule passes if the device does not have the attribute,
  /// and calls no predicate.
  bool wantsAbsence = false;
  Operand attribute;
  /// In the order of the rule's "references", up to the first malformed one.
  std::vector<Operand> references;
  /// The rule has references but no value, and its predicate takes the first reference as the value.
  bool firstReferenceIsValue = false;
  /// The rule fails because its "references" are not an array of dictionaries.
  bool referencesAreMalformed = false;
  /// The expected value passed to the predicates; absent if there is none.
  std::optional<Value> value;
  PredicateExpression::Operator combination = PredicateExpression::Operator::kNone;
  /// One for each predicate of the expression, in order; none if the expression is malformed.
  std::vector<Call> calls;

  /// The rule's record in a check run, a dictionary; absent if `error` or `fault` ends the run.
  std::optional<Value> record;
  std::optional<Error> error;  ///< set for a malformed expression
  std::optional<Fault> fault;
};

/// Evaluates rules for one device. Immutable and thread-safe.
///
///     const RuleEvaluator evaluator(kernel, device, sources);
///     for (const RuleOrigin& rule : origins.of(model, region, error)->rules) {
///       const RuleEvaluation evaluation = evaluator.evaluate(rule);
///     }
class TAVIK_EXPORT RuleEvaluator {
 public:
  /// attributes, sources: as for `ZRTTavikKernel::check`; packed attributes are expanded.
  RuleEvaluator(PredicateKernel kernel, Dictionary attributes, Dictionary sources);

  /// The device's attributes, with packed attributes expanded.
  [[nodiscard]] const Dictionary& attributes() const noexcept { return attributes_; }

  /// Evaluates a rule and logs what a check run logs for it. Faults are reported in the result.
  [[nodiscard]] RuleEvaluation evaluate(const RuleOrigin& rule) const;

 private:
  PredicateKernel kernel_;
  Dictionary attributes_;
  Dictionary sources_;
};

}  // namespace tavik

#endif
