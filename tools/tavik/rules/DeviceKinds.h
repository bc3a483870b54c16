/// @file
/// The part numbers and regions that rule documents tell apart, and how they and the layers of local rules are named.
#ifndef TAVIK_TOOL_RULES_DEVICE_KINDS_H
#define TAVIK_TOOL_RULES_DEVICE_KINDS_H

#include <tavik/Error.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavik::tool {

/// "part_number", "region", "generic" or "set", for programs.
std::string_view nameOf(LocalEntry::Layer layer);

/// Whether a device has no rules because the local rules do not know its part number or region.
bool saysUnknownDevice(const Error& error);

/// The error after the name of the file that is at fault: `attributesName` if the device lacks what selects its rules
/// or has it in another kind, else `rulesName`.
std::string blamed(const Error& error, const Dictionary& attributes, const std::string& attributesName,
                   const std::string& rulesName);

class DeviceKinds {
 public:
  /// What tells the devices of a kind from others. Absent: any other than those that stand beside it.
  struct Selectors {
    std::optional<std::string> partNumber;
    std::optional<std::string> region;
  };

  explicit DeviceKinds(const RuleOrigins& origins);
  /// Those that either of the two tells apart: where one of them asks for a part number or region and the other does
  /// not, what is left over is a kind too.
  DeviceKinds(const RuleOrigins& first, const RuleOrigins& second);

  [[nodiscard]] const std::vector<Selectors>& all() const noexcept { return kinds_; }

  /// "every device", or "DN20-064 (EU/1, US/1), DN20-128" where all regions of DN20-128 are meant; as many part numbers
  /// as people read. `members`: positions in `all`, ascending.
  [[nodiscard]] std::string text(std::span<const std::size_t> members) const;
  /// The same for programs: an array of {"part_number": ..., "region": ...}, either of which may be left out.
  [[nodiscard]] Value value(std::span<const std::size_t> members) const;

 private:
  using Span = std::pair<std::size_t, std::size_t>;
  [[nodiscard]] Span partNumberSpan(std::size_t member) const;
  [[nodiscard]] std::string partNumberText(std::span<const std::size_t> members, bool whole) const;

  std::vector<Selectors> kinds_;  // those of one part number stand together
};

}  // namespace tavik::tool

#endif
