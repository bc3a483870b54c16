#ifndef TAVIK_CHECK_OUTCOME_H
#define TAVIK_CHECK_OUTCOME_H

#include <tavik/Error.h>
#include <tavik/Provenance.h>
#include <tavik/Value.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavik {

/// Why there is no kernel, why local rules are rejected, or why a run ended without a verdict.
struct TAVIK_EXPORT Reason {
  enum class Category : std::uint8_t {
    kUnreadable,           ///< the rule library cannot be read or is not a dictionary (kernels only)
    kNoLocalRules,         ///< no local rules were given
    kNotTrusted,           ///< the platform rejected a document
    kEmpty,                ///< a document has no entries
    kNotAssembled,         ///< unknown part number, region or rule set, or malformed local rules: see the error
    kNoRules,              ///< the local rules give the device no rules
    kMalformedExpression,  ///< a rule's predicate expression is malformed: see the error
    kFault,                ///< see the fault
  };

  Category category = Category::kUnreadable;
  /// For people; does not name the rule.
  std::string description;
  /// The rule that ended the run; absent if no rule did.
  std::optional<std::string> rule = std::nullopt;

  /// The category for programs: "unreadable", "no local rules", "not trusted", "empty", "not assembled", "no rules",
  /// "malformed expression" or "fault".
  [[nodiscard]] std::string_view word() const noexcept;
  /// The description in one line for people: `rule "Color": ...` if a rule ended the run.
  [[nodiscard]] std::string text() const;
};

/// A fault that ended a run: a predicate could not evaluate a rule, for example because the serial number is too short,
/// or a document has no "version".
struct TAVIK_EXPORT Fault {
  enum class Category : std::uint8_t {
    kRange,            ///< `std::out_of_range`
    kInvalidArgument,  ///< `std::invalid_argument`
  };

  Category category = Category::kRange;
  std::string message;

  /// "range" or "invalid-argument".
  [[nodiscard]] std::string_view word() const noexcept;
};

enum class Verdict : std::uint8_t {
  kPassed,  ///< the device was checked, and every rule passed
  kFailed,  ///< the device was checked, and at least one rule failed
  kNone,    ///< the device was not checked: `CheckOutcome::reason` says why. It counts as not passed.
};

/// "passed", "failed" or "none".
TAVIK_EXPORT std::string_view wordOf(Verdict verdict) noexcept;

/// The result of a check run, as returned by `ZRTTavikKernel::run` and `PreparedRules::run`.
///
///     const CheckOutcome outcome = rules->run(device);
///     switch (outcome.verdict) {
///       case Verdict::kPassed: return ship();
///       case Verdict::kFailed: return repair(outcome.ruleRecords());
///       case Verdict::kNone: return stop(outcome.reason->text());
///     }
struct TAVIK_EXPORT CheckOutcome {
  Verdict verdict = Verdict::kNone;
  /// Present if and only if there is no verdict.
  std::optional<Reason> reason;
  /// What `check` returns: absent if a malformed expression or a fault ended the run.
  std::optional<Array> records;
  /// The station dictionary after the run: the one passed in, with the attributes that rules forwarded.
  Dictionary station;
  /// What `check` stores in its `error`.
  std::optional<Error> error;
  /// What `check` raises.
  std::optional<Fault> fault;
  /// Where the documents that determined the outcome came from; never null in the outcome of a run.
  std::shared_ptr<const Provenance> provenance;

  /// The rule records in evaluation order, without the version records. Empty if there is no verdict. Valid until
  /// `records` is changed or destroyed.
  [[nodiscard]] std::span<const Value> ruleRecords() const noexcept;

  /// "records" (array), "station" (dictionary), "error" {"domain", "code", "description"}, "fault" {"kind", "message"},
  /// "verdict" (string) and "reason" {"kind", "rule", "description"}. What is absent is left out.
  [[nodiscard]] Dictionary dictionary() const;
};

}  // namespace tavik

#endif
