/// @file
/// A check of `tavik lint` and its findings. To add a check, add a function and a row in the table of its file
/// (RuleChecks.cpp, ValueChecks.cpp, DocumentChecks.cpp, NameChecks.cpp, KindChecks.cpp, CoverageChecks.cpp or
/// DeviceChecks.cpp), and a section in docs/lint.md.
#ifndef TAVIK_TOOL_LINT_CHECK_H
#define TAVIK_TOOL_LINT_CHECK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "lint/Document.h"

namespace tavik::tool::lint {

class Reporter;
class Rule;
struct Experience;
struct LintedDocuments;
struct ValuePart;

enum class Severity : std::uint8_t {
  kError,        ///< ends the check, or makes a rule pass or fail for every device
  kWarning,      ///< something is ignored, or read with another meaning
  kInformation,  ///< worth knowing
};
std::string_view nameOf(Severity severity);
/// The name used in SARIF and by compilers.
std::string_view levelOf(Severity severity);

struct Check {
  std::string_view name;  ///< stable
  Severity severity;

  // What it examines, any of these, or none if something else reports its findings:
  /// A rule as the library defines it.
  void (*ofDefinition)(const Rule& rule, Reporter& reporter) = nullptr;
  /// The same and, if another value or a missing one can make a difference, the rule with a local entry applied.
  void (*ofRule)(const Rule& rule, Reporter& reporter) = nullptr;
  /// The same for the parts of its expected value, once per predicate that reads it.
  void (*ofPart)(const ValuePart& part, Reporter& reporter) = nullptr;
  void (*ofDocuments)(const LintedDocuments& documents, Reporter& reporter) = nullptr;
  /// A rule, and what example devices show about it.
  void (*ofExamples)(const Rule& rule, const Experience& experience, Reporter& reporter) = nullptr;
};

std::span<const Check> ruleChecks();
std::span<const Check> valueChecks();
std::span<const Check> documentChecks();
std::span<const Check> nameChecks();
/// About the rules of one kind of device together.
std::span<const Check> kindChecks();
/// About the part numbers, regions and codes that a rule covers.
std::span<const Check> coverageChecks();
/// About example devices.
std::span<const Check> deviceChecks();
/// About the list of known findings, which examines them.
std::span<const Check> baselineChecks();
/// All checks, by name.
std::vector<const Check*> allChecks();

/// A check's message about a place.
struct Statement {
  std::string what;    ///< what is wrong
  std::string effect;  ///< what happens on the line as a result
  std::string advice;  ///< what to do
};

/// A name that can replace an unknown one.
struct Suggestion {
  std::string name;
  std::string replacement;
};

struct Finding {
  const Check* check;
  const Document* document;
  std::string rule;  ///< its name, or the path if there is no rule
  std::string path;
  const Value* value;  ///< in the document
  bool atKey;          ///< the finding is about its key
  Statement statement;
  std::optional<Suggestion> suggestion;  ///< absent if no replacement is known

  [[nodiscard]] std::string message() const;
};

/// Collects the findings: each problem at each place is reported once, however many devices it affects.
class Reporter {
 public:
  /// Findings beyond this number are only counted: a hostile document can have millions.
  static constexpr std::size_t kMost = 100'000;

  void at(const Place& place, Statement statement) { add(place, false, rule_, std::move(statement)); }
  /// About the key of the place, not about its value.
  void atKey(const Place& place, Statement statement) { add(place, true, rule_, std::move(statement)); }
  /// The same for the named rule.
  void at(const Place& place, std::string_view rule, Statement statement) {
    add(place, false, rule, std::move(statement));
  }
  void atKey(const Place& place, std::string_view rule, Statement statement) {
    add(place, true, rule, std::move(statement));
  }

  /// About the rule's value; about the place where it is missing if there is none.
  void atValue(const Rule& rule, Statement statement);

  /// The nearest known name; absent if none is similar enough. Comparing names is slow, so the number of comparisons is
  /// limited.
  std::optional<std::string_view> nearest(std::string_view name, std::span<const std::string_view> known);
  /// Gives the next finding a suggestion.
  void suggest(std::string_view name, std::string_view replacement) {
    suggestion_ = {{std::string(name), std::string(replacement)}};
  }
  /// Ends a sentence whose last word is an unknown name: `; did you mean "NAME"?` or a period. Gives the
  /// next finding the suggestion.
  std::string endingFor(std::string_view name, std::span<const std::string_view> known);

  /// `rule`: the name of the rule that the findings are about; empty if they are about a document.
  void begin(const Check& check, std::string_view rule = {}) {
    check_ = &check;
    rule_ = rule;
  }
  [[nodiscard]] std::vector<Finding> take() && { return std::move(findings_); }
  [[nodiscard]] std::size_t dropped() const noexcept { return dropped_; }

 private:
  void add(const Place& place, bool atKey, std::string_view rule, Statement statement);

  const Check* check_ = nullptr;
  std::string_view rule_;
  std::vector<Finding> findings_;
  std::set<std::tuple<const Check*, const Value*, std::string>> seen_;
  std::size_t dropped_ = 0;
  std::size_t namesCompared_ = 0;
  std::optional<Suggestion> suggestion_;
};

}  // namespace tavik::tool::lint

#endif
