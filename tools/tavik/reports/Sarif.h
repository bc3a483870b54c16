/// @file
/// The findings of `tavik lint` for code-scanning services: SARIF 2.1.0.
#ifndef TAVIK_TOOL_REPORTS_SARIF_H
#define TAVIK_TOOL_REPORTS_SARIF_H

#include <string>
#include <vector>

#include "lint/LintReport.h"

namespace tavik::tool::lint {

std::string lintSarif(const std::vector<PlacedFinding>& findings);

}  // namespace tavik::tool::lint

#endif
