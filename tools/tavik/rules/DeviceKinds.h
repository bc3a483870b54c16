/// @file
/// The part numbers and regions that rule documents distinguish, and the names of these and of the layers of local
/// rules.
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

/// The origin of an expected value, as `KindRule::valueFrom` names it, for people: "part number", "GenericRules".
std::string originText(std::string_view from);

/// Whether a device has no rules because the local rules do not list its part number or region.
bool saysUnknownDevice(const Error& error);

/// The error, prefixed with the name of the responsible file: `attributesName` if the device lacks what selects its
/// rules or has it in another kind, otherwise `rulesName`.
std::string blamed(const Error& error, const Dictionary& attributes, const std::string& attributesName,
                   const std::string& rulesName);

class DeviceKinds {
 public:
  /// What distinguishes the devices of a kind. Absent: any value other than the listed ones.
  struct Selectors {
    std::optional<std::string> partNumber;
    std::optional<std::string> region;
  };

  explicit DeviceKinds(const RuleOrigins& origins);
  /// The kinds that either of the two distinguishes. If only one of them lists a part number or region, the remaining
  /// devices are a kind too.
  DeviceKinds(const RuleOrigins& first, const RuleOrigins& second);

  [[nodiscard]] const std::vector<Selectors>& all() const noexcept { return kinds_; }

  /// "every device", or "DN20-064 (EU/1, US/1), DN20-128" if all regions of DN20-128 are meant; the number of part
  /// numbers is limited. `members`: positions in `all`, ascending.
  [[nodiscard]] std::string text(std::span<const std::size_t> members) const;
  /// The same for programs: an array of {"part_number": ..., "region": ...}; either may be missing.
  [[nodiscard]] Value value(std::span<const std::size_t> members) const;

 private:
  using Span = std::pair<std::size_t, std::size_t>;
  [[nodiscard]] Span partNumberSpan(std::size_t member) const;
  [[nodiscard]] std::string partNumberText(std::span<const std::size_t> members, bool whole) const;

  std::vector<Selectors> kinds_;  // grouped by part number
};

}  // namespace tavik::tool

#endif
