#ifndef TAVIK_RULE_ORIGINS_H
#define TAVIK_RULE_ORIGINS_H

#include <tavik/Error.h>
#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tavik {

/// What the local rules say of a rule, or of a rule set, in one place.
struct TAVIK_EXPORT LocalEntry {
  /// The places, each going before the ones above it: what they say replaces what was said there.
  enum class Layer : std::uint8_t {
    kPartNumber,  ///< the device's part number in "MPNRules"
    kRegion,      ///< the device's region in the "RegionRules" of its part number
    kGeneric,     ///< "GenericRules"
    kSet,         ///< a set in "RuleSets"
  };

  Layer layer;
  /// Which set, of Layer::kSet; else empty.
  std::string_view set;
  /// What stands under the name. A dictionary, unless another entry took its place.
  const Value* content;

  /// The expected value in it; null where there is none.
  [[nodiscard]] const Value* value() const noexcept;
};

/// A rule that a device gets, and where it comes from.
struct TAVIK_EXPORT RuleOrigin {
  std::string_view name;
  /// The entries that name the rule, at least one. Each took the place of the one before it, "value" and all: only the
  /// last one counts.
  std::vector<LocalEntry> entries;
  /// What the rule library says of the rule; null where it does not define it.
  const Dictionary* definition;

  /// The expected value, that of the last entry or else of the definition; null where neither has one.
  [[nodiscard]] const Value* value() const noexcept;
  /// The complete rule, as `ZRTTavikKernel::makeDeviceRules` makes it: the definition with the last entry's "value".
  [[nodiscard]] Dictionary rule() const;
};

/// A rule set that a device gets the rules of, with the entries that name it.
struct RuleSetOrigin {
  std::string_view name;
  std::vector<LocalEntry> entries;
};

/// The part number and region of a device, as far as the local rules ask for them.
struct DeviceKind {
  const Value* partNumber;  ///< null: whatever the part number, and if there is none
  const Value* region;      ///< null: likewise
};

/// Entries of the local rules that a device gets together: those of a dictionary or, where that is a part number's with
/// "RegionRules", those before or after them.
struct LocalLayer {
  LocalEntry::Layer layer;
  /// Which set, of Layer::kSet; else empty.
  std::string_view set;
  Dictionary::Iterator first;
  Dictionary::Iterator last;  ///< past the last one
  std::size_t size;
};

/// Where the rules of devices come from: for hosts that explain, compare or review rule documents.
///
///     const RuleOrigins origins(library, localRules);
///     for (const DeviceKind& kind : origins.deviceKinds()) {
///       std::optional<Error> error;
///       const auto device = origins.of(kind.partNumber, kind.region, error);
///       if (device) for (const RuleOrigin& rule : device->rules) { /* ... */ }
///     }
///
/// What it returns borrows from the documents that it keeps: it holds as long as this object lives. Immutable; safe
/// from any thread. Logs nothing and raises no fault.
class TAVIK_EXPORT RuleOrigins {
 public:
  /// The contents of a rule library and of local rules, no signature around them.
  RuleOrigins(Dictionary library, Dictionary localRules);

  struct Device {
    /// In the order in which a check takes them.
    std::vector<RuleOrigin> rules;
    /// In the order in which they were replaced by their rules.
    std::vector<RuleSetOrigin> sets;
  };

  /// The rules of a device with this "ModelNumber" and "RegionInfo", which may be null.
  ///
  /// Absent with `error` set to that of `ZRTTavikKernel::makeDeviceRules` (code -100003 or -100004) when such a device
  /// gets no rules; `error` is written on failure only.
  [[nodiscard]] std::optional<Device> of(const Value* partNumber, const Value* region,
                                         std::optional<Error>& error) const;

  /// Every part number with each of its regions, in the order of the local rules; those among them that are malformed
  /// too, for which `of` then fails. A single one without part number where the local rules know none.
  [[nodiscard]] std::vector<DeviceKind> deviceKinds() const;

  /// Visits the kinds of device of which neither part number nor region is malformed, with the layers that such a
  /// device gets entries from: those of its part number with those of its region in the place of "RegionRules", the
  /// generic ones, and those of the sets that these name, in the order of expansion. An entry replaces those of its
  /// name in earlier layers; the name of a set, in layers before that of the set, stands for the set. What is missing
  /// or malformed is left out. The layers hold during the visit.
  ///
  /// For hosts to which the layers say enough: putting together all rules of every kind takes many times as long.
  void forEachKind(const std::function<void(const DeviceKind&, std::span<const LocalLayer>)>& visit) const;

 private:
  Dictionary library_;
  Dictionary localRules_;
};

}  // namespace tavik

#endif
