/// @file
/// The selection from the local rules by part number and region.
#ifndef TAVIK_KERNEL_PRIVATE_SELECTION_H
#define TAVIK_KERNEL_PRIVATE_SELECTION_H

#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

inline constexpr char kRegionRules[] = "RegionRules";

/// Why the rules of a device cannot be assembled. Becomes an `Error` when it is reported.
struct AssemblyFailure {
  std::int32_t code;
  std::string message;
};

/// The failure for a value in the local rules that is not a dictionary. key: its key.
AssemblyFailure malformed(std::string_view key);

/// The selected dictionaries; borrows from the local rules.
struct Selection {
  const Dictionary* partNumber = nullptr;  ///< null: the rules have no part numbers
  const Dictionary* region = nullptr;      ///< null: the part number has no regions

  friend bool operator==(const Selection&, const Selection&) = default;
};

/// Absent with `failure` set if the part number or region is unknown, or does not select a dictionary.
std::optional<Selection> select(const Dictionary& rules, const Value* partNumber, const Value* region,
                                std::optional<AssemblyFailure>& failure);
/// The same with the part number and region of a device.
std::optional<Selection> select(const Dictionary& rules, const Dictionary& device,
                                std::optional<AssemblyFailure>& failure);

}  // namespace tavik

#endif
