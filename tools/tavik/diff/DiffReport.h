/// @file
/// The output of `tavik diff`.
#ifndef TAVIK_TOOL_DIFF_DIFF_REPORT_H
#define TAVIK_TOOL_DIFF_DIFF_REPORT_H

#include <tavik/Value.h>

#include <optional>
#include <string>

#include "diff/DeviceChanges.h"
#include "diff/RuleChanges.h"
#include "text/Terminal.h"

namespace tavik::tool {

struct RulesDifference {
  Dictionary versions;  ///< "old" and "new", and "old_library" and "new_library" where there are libraries
  RuleChanges rules;
  std::optional<DeviceChanges> devices;

  [[nodiscard]] bool empty() const { return rules.empty() && (!devices || devices->changed() == 0); }
};

/// Formats a device with a different result, one function per format.
DeviceChanges::Render textRenderer(const Screen& screen);
DeviceChanges::Render jsonRenderer();

std::string differenceText(const RulesDifference& difference, const Screen& screen);
std::string differenceJson(const RulesDifference& difference);

}  // namespace tavik::tool

#endif
