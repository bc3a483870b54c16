/// @file
/// The output of `tavik diff`.
#ifndef TAVIK_TOOL_DIFF_DIFF_REPORT_H
#define TAVIK_TOOL_DIFF_DIFF_REPORT_H

#include <tavik/Provenance.h>
#include <tavik/Value.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "diff/DeviceChanges.h"
#include "diff/RuleChanges.h"
#include "io/StandardOutput.h"
#include "text/Terminal.h"

namespace tavik::tool {

struct RulesDifference {
  Dictionary versions;  ///< "old" and "new", and "old_library" and "new_library" where there are libraries
  std::vector<std::pair<std::string, DocumentProvenance>> documents;  ///< by the same names
  bool verified;                                                      ///< whether signatures were verified
  std::vector<std::string> warnings;
  RuleChanges rules;
  std::optional<DeviceChanges> devices;

  [[nodiscard]] bool empty() const { return rules.empty() && (!devices || devices->changed() == 0); }
};

/// Formats a device with a different result.
void appendDeviceJson(std::string& out, const DeviceChange& change);

void writeDifferenceText(const RulesDifference& difference, const Screen& screen, BufferedOutput& output);
void writeDifferenceHtml(const RulesDifference& difference, BufferedOutput& output);
void writeDifferenceJson(const RulesDifference& difference, BufferedOutput& output);

}  // namespace tavik::tool

#endif
