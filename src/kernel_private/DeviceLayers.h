/// @file
/// The order in which the entries of the local rules apply to a device.
#ifndef TAVIK_KERNEL_PRIVATE_DEVICE_LAYERS_H
#define TAVIK_KERNEL_PRIVATE_DEVICE_LAYERS_H

#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <optional>
#include <span>
#include <vector>

#include "kernel_private/Selection.h"

namespace tavik {

/// The layers of one device after another. Borrows the local rules. Scans the entries of a part number once for
/// consecutive devices with that part number.
class DeviceLayers {
 public:
  explicit DeviceLayers(const Dictionary& rules) noexcept : rules_(rules) {}

  /// The layers, as described at `RuleOrigins::forEachKind`; valid until the next call. They end at a missing or
  /// malformed layer, with the reason in `failure`. If `failure` is null, such a layer is skipped instead.
  [[nodiscard]] std::span<const LocalLayer> of(const Selection& selection, std::optional<AssemblyFailure>* failure);

 private:
  struct Part {
    LocalLayer layer;
    std::vector<const Value*> setNames;
  };

  static Part partOf(LocalEntry::Layer layer, const Dictionary& entries, Dictionary::Iterator first);
  [[nodiscard]] const Dictionary* table(std::string_view key, std::optional<AssemblyFailure>* failure) const;
  void addSelected(const Selection& selection);
  void add(const Part& part);
  void addSets(const Dictionary& sets, std::optional<AssemblyFailure>* failure);

  const Dictionary& rules_;
  const Dictionary* partNumber_ = nullptr;  // the part number of the following members
  Part beforeRegion_ = {};
  Part afterRegion_ = {};
  std::optional<Part> generic_;
  std::vector<LocalLayer> layers_;
  std::vector<const Value*> setNames_;  // in these layers
};

}  // namespace tavik

#endif
