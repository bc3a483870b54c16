/// @file
/// Devices whose attributes are examples for `tavik lint`.
#ifndef TAVIK_TOOL_LINT_EXAMPLE_DEVICES_H
#define TAVIK_TOOL_LINT_EXAMPLE_DEVICES_H

#include <tavik/RuleEvaluation.h>
#include <tavik/Value.h>

#include <string>
#include <string_view>
#include <vector>

#include "io/Inputs.h"

namespace tavik::tool::lint {

struct ExampleDevice {
  RuleEvaluator evaluator;
  Dictionary sources;  ///< source name -> dictionary

  /// With packed attributes expanded.
  [[nodiscard]] const Dictionary& attributes() const noexcept { return evaluator.attributes(); }
  /// Calls `visit` with the source, empty for the device itself, and the name of each value.
  void forEachName(const auto& visit) const {
    for (const auto& item : attributes()) visit(std::string_view(), item.key);
    for (const auto [source, values] : sources) {
      if (values.ifDictionary() == nullptr) continue;
      for (const auto& item : *values.ifDictionary()) visit(source, item.key);
    }
  }
};

/// Further devices of a file are not used.
inline constexpr std::size_t kMostExampleDevices = 1000;

/// Reads devices in the input format of `tavik batch`. Throws `Unusable` if a line cannot be used.
std::vector<ExampleDevice> readExampleDevices(Inputs& inputs, const std::string& path);

}  // namespace tavik::tool::lint

#endif
