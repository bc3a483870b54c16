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

/// An entry of the local rules for a rule or a rule set.
struct TAVIK_EXPORT LocalEntry {
  /// Where the entry is. Entries of later layers replace those of earlier ones.
  enum class Layer : std::uint8_t {
    kPartNumber,  ///< the device's part number in "MPNRules"
    kRegion,      ///< the device's region in the "RegionRules" of its part number
    kGeneric,     ///< "GenericRules"
    kSet,         ///< a set in "RuleSets"
  };

  Layer layer;
  /// The name of the rule set for Layer::kSet, otherwise empty.
  std::string_view set;
  /// The entry's value. A dictionary, unless another entry replaces this one.
  const Value* content;

  /// The expected value in the entry; null if there is none.
  [[nodiscard]] const Value* value() const noexcept;
};

/// A rule of a device, and where it comes from.
struct TAVIK_EXPORT RuleOrigin {
  std::string_view name;
  /// The entries that name the rule, at least one. Each replaces the one before it, including its "value": only the
  /// last one is effective.
  std::vector<LocalEntry> entries;
  /// The rule's definition in the rule library; null if there is none.
  const Dictionary* definition;

  /// The expected value: that of the last entry, otherwise that of the definition; null if neither has one.
  [[nodiscard]] const Value* value() const noexcept;
  /// The complete rule, as `ZRTTavikKernel::makeDeviceRules` makes it: the definition with the last entry's "value".
  [[nodiscard]] Dictionary rule() const;
};

/// A rule set of a device, with the entries that name it.
struct RuleSetOrigin {
  std::string_view name;
  std::vector<LocalEntry> entries;
};

/// A part number and region, as far as the local rules distinguish them.
struct DeviceKind {
  const Value* partNumber;  ///< null: any part number, or none
  const Value* region;      ///< null: any region, or none
};

/// Consecutive entries of the local rules that apply to a device together: the entries of a dictionary, or those before
/// or after "RegionRules" in a part number's dictionary.
struct LocalLayer {
  LocalEntry::Layer layer;
  /// The name of the rule set for Layer::kSet, otherwise empty.
  std::string_view set;
  Dictionary::Iterator first;
  Dictionary::Iterator last;  ///< past the last one
  std::size_t size;
};

/// Finds the rules of devices and where they come from, for hosts that explain, compare or review rule documents.
///
///     const RuleOrigins origins(library, localRules);
///     for (const DeviceKind& kind : origins.deviceKinds()) {
///       std::optional<Error> error;
///       const auto device = origins.of(kind.partNumber, kind.region, error);
///       if (device) for (const RuleOrigin& rule : device->rules) { /* ... */ }
///     }
///
/// Results refer to the documents that this object keeps, and are valid as long as it is. Immutable and thread-safe.
/// Logs nothing and raises no faults.
class TAVIK_EXPORT RuleOrigins {
 public:
  /// library, localRules: the documents' contents, without signatures.
  RuleOrigins(Dictionary library, Dictionary localRules);

  struct Device {
    /// In evaluation order.
    std::vector<RuleOrigin> rules;
    /// In the order in which they are expanded.
    std::vector<RuleSetOrigin> sets;
  };

  /// The rules of a device with this "ModelNumber" and "RegionInfo"; both may be null.
  ///
  /// Returns absent if the rules cannot be assembled, with `error` set as by `ZRTTavikKernel::makeDeviceRules` (code
  /// -100003 or -100004). `error` is written on failure only.
  [[nodiscard]] std::optional<Device> of(const Value* partNumber, const Value* region,
                                         std::optional<Error>& error) const;

  /// Every part number with each of its regions, in the order of the local rules, including malformed ones, for which
  /// `of` fails. If the local rules have no part numbers, a single kind without a part number.
  [[nodiscard]] std::vector<DeviceKind> deviceKinds() const;

  /// Visits the kinds of devices whose part number and region are well formed, with the layers that apply to them: the
  /// part number's entries with the region's entries in the place of "RegionRules", the generic entries, and those of
  /// the rule sets named in them, in the order of expansion. An entry replaces entries of the same name in earlier
  /// layers. A rule set's name in an earlier layer than its set represents the set. Missing and malformed parts are
  /// skipped. The layers are valid during the visit.
  ///
  /// Much faster than `of` for every kind; use it if the layers are all you need.
  void forEachKind(const std::function<void(const DeviceKind&, std::span<const LocalLayer>)>& visit) const;

 private:
  Dictionary library_;
  Dictionary localRules_;
};

}  // namespace tavik

#endif
