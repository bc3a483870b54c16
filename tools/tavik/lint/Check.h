/// @file
/// What a check of `tavik lint` is, and what it finds. Adding one is one function and one row in the table of its file
/// (RuleChecks.cpp, ValueChecks.cpp or DocumentChecks.cpp) and a section in docs/lint.md.
#ifndef TAVIK_TOOL_LINT_CHECK_H
#define TAVIK_TOOL_LINT_CHECK_H

#include <cstddef>
#include <cstdint>
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
struct LintedDocuments;

enum class Severity : std::uint8_t {
  kError,        ///< ends the check, or makes a rule pass or fail whatever the device says
  kWarning,      ///< something is not read, or not as it was meant
  kInformation,  ///< worth knowing
};
std::string_view nameOf(Severity severity);
/// As SARIF and compilers call it.
std::string_view levelOf(Severity severity);

struct Check {
  std::string_view name;  ///< stable
  Severity severity;

  // What it looks at: any of these.
  /// A rule as the library has it.
  void (*ofDefinition)(const Rule& rule, Reporter& reporter) = nullptr;
  /// The same and, where another value or none can make a difference, a rule as a local entry makes it.
  void (*ofRule)(const Rule& rule, Reporter& reporter) = nullptr;
  void (*ofDocuments)(const LintedDocuments& documents, Reporter& reporter) = nullptr;
};

std::span<const Check> ruleChecks();
std::span<const Check> valueChecks();
std::span<const Check> documentChecks();
/// All of them, by name.
std::vector<const Check*> allChecks();

/// What a check says about a place.
struct Statement {
  std::string what;    ///< what is wrong
  std::string effect;  ///< what happens on the line because of it
  std::string advice;  ///< what to do
};

struct Finding {
  const Check* check;
  const Document* document;
  std::string rule;  ///< its name, or the path where there is no rule
  std::string path;
  const Value* value;  ///< in the document
  bool atKey;          ///< its key is at fault
  Statement statement;

  [[nodiscard]] std::string message() const;
};

/// Collects what the checks find: one thing at one place once, whatever number of devices it comes up for.
class Reporter {
 public:
  /// Findings are kept up to this number, beyond it counted: a hostile document can have millions.
  static constexpr std::size_t kMost = 100'000;

  /// `rule`: empty where the place is about no rule.
  void at(const Place& place, std::string_view rule, Statement statement) {
    add(place, false, rule, std::move(statement));
  }
  /// About the key of the place, not about what stands under it.
  void atKey(const Place& place, std::string_view rule, Statement statement) {
    add(place, true, rule, std::move(statement));
  }

  /// How a sentence ends whose last word is a name that is none of the known ones: `; did you mean "NAME"?` or a full
  /// stop. Comparing names takes its time, so that only so many are.
  std::string endingFor(std::string_view name, std::span<const std::string_view> known);

  void begin(const Check& check) { check_ = &check; }
  [[nodiscard]] std::vector<Finding> take() && { return std::move(findings_); }
  [[nodiscard]] std::size_t dropped() const noexcept { return dropped_; }

 private:
  void add(const Place& place, bool atKey, std::string_view rule, Statement statement);

  const Check* check_ = nullptr;
  std::vector<Finding> findings_;
  std::set<std::tuple<const Check*, const Value*, std::string>> seen_;
  std::size_t dropped_ = 0;
  std::size_t namesCompared_ = 0;
};

}  // namespace tavik::tool::lint

#endif
