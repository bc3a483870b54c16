/// @file
/// What example devices show about rules.
#ifndef TAVIK_TOOL_LINT_EXPERIENCE_H
#define TAVIK_TOOL_LINT_EXPERIENCE_H

#include <tavik/RuleEvaluation.h>
#include <tavik/RuleOrigins.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lint/LintedDocuments.h"

namespace tavik::tool::lint {

/// The names of the values that example devices have, by source; those of the devices themselves under "".
using ExampleNames = std::map<std::string_view, std::vector<std::string_view>>;

/// The example devices that get a rule with the same expected value; at least one.
struct Experience {
  struct Case {
    const ExampleDevice* device;
    RuleEvaluation evaluation;
    bool failsAlone = false;  ///< the device fails this rule and no other

    /// Also if a fault ends the check.
    [[nodiscard]] bool fails() const;
  };

  const Entry* entry;  ///< the local entry; null if no layer has it
  std::string_view name;
  const ExampleNames* names;
  std::vector<Case> cases = {};

  /// Whether this holds for every device. A single device that fails several rules is not an example.
  [[nodiscard]] bool isTypical(const std::function<bool(const Case&)>& holds) const;
  /// "Each of the 3 example devices that get the rule"
  [[nodiscard]] std::string whom() const;
};

/// Checks the example devices, up to a number of evaluations.
class Experiences {
 public:
  explicit Experiences(const LintedDocuments& documents);
  Experiences(const Experiences&) = delete;
  Experiences& operator=(const Experiences&) = delete;

  [[nodiscard]] const auto& all() const noexcept { return all_; }

 private:
  void add(const LintedDocuments& documents, const LocalRules& local, const ExampleDevice& device);

  ExampleNames names_;
  std::map<std::pair<std::string_view, const Value*>, Experience> all_;  // by name and expected value
  std::size_t evaluations_ = 0;
};

}  // namespace tavik::tool::lint

#endif
