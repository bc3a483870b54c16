/// @file
/// Findings that are known and accepted, each with a reason.
#ifndef TAVIK_TOOL_LINT_BASELINE_H
#define TAVIK_TOOL_LINT_BASELINE_H

#include <string>
#include <vector>

#include "lint/Check.h"
#include "lint/Document.h"

namespace tavik::tool::lint {

/// A JSON file: {"findings": [{"name": "...", "document": "library" | "rules", "path": "...", "reason": "..."}, ...]}.
/// Findings are recognized by these, and not by their lines or messages.
class Baseline {
 public:
  /// `file`: borrowed. Throws `Unusable` if it is not such a list.
  explicit Baseline(const Document& file);

  /// The findings that are not known. Entries without a reason, and those that match no finding, are reported.
  [[nodiscard]] std::vector<Finding> withoutKnown(std::vector<Finding> findings, Reporter& reporter) const;
  /// Empty if the finding is not known.
  [[nodiscard]] std::string reasonFor(const Finding& finding) const;

 private:
  struct Known {
    std::string key;
    std::string reason;
  };
  const Document& file_;
  std::vector<Known> known_;  // in the order of the file
};

/// The findings as such a file, with the reasons that `baseline` has for them. `baseline`: null if there is none.
std::string baselineOf(const std::vector<Finding>& findings, const Baseline* baseline);

}  // namespace tavik::tool::lint

#endif
