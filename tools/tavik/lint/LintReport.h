/// @file
/// The findings of `tavik lint`: for people, for programs (JSON), and in the format of compilers.
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

/// The findings of each document in document order, with their positions.
std::vector<PlacedFinding> placed(std::vector<Finding> findings, const std::deque<Document>& documents);

std::string lintTable(const std::vector<PlacedFinding>& findings, const std::deque<Document>& documents,
                      const Screen& screen);
std::string lintJson(const std::vector<PlacedFinding>& findings);
/// "FILE:LINE:COLUMN: SEVERITY: MESSAGE [NAME]", one finding per line; the message includes the path if the position is
/// unknown.
std::string lintLines(const std::vector<PlacedFinding>& findings);

}  // namespace tavik::tool::lint

#endif
