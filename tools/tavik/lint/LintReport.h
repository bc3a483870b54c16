/// @file
/// What `tavik lint` found: for people, for programs (JSON), and as editors and compilers' logs have it.
#ifndef TAVIK_TOOL_LINT_LINT_REPORT_H
#define TAVIK_TOOL_LINT_LINT_REPORT_H

#include <tavik/Location.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "lint/Check.h"
#include "text/Terminal.h"

namespace tavik::tool::lint {

struct PlacedFinding {
  Finding finding;
  std::optional<Location> position;  ///< absent if the document is signed or binary
};

/// The findings of each document in its order, with their positions.
std::vector<PlacedFinding> placed(std::vector<Finding> findings, const std::deque<Document>& documents);

std::string lintTable(const std::vector<PlacedFinding>& findings, const std::deque<Document>& documents,
                      const Screen& screen);
std::string lintJson(const std::vector<PlacedFinding>& findings);
/// "FILE:LINE:COLUMN: SEVERITY: MESSAGE [NAME]", one finding per line; with the path in the message where the position
/// is not known.
std::string lintLines(const std::vector<PlacedFinding>& findings);

}  // namespace tavik::tool::lint

#endif
