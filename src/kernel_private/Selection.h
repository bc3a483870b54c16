/// @file
/// What a device's part number and region select of the local rules.
#ifndef TAVIK_KERNEL_PRIVATE_SELECTION_H
#define TAVIK_KERNEL_PRIVATE_SELECTION_H

#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

inline constexpr std::string_view kRegionRules = "RegionRules";

/// Why there are no rules for a device: what becomes an error once somebody is told.
struct AssemblyFailure {
  std::int32_t code;
  std::string message;
};

/// What stands under `key` in the local rules has to be a dictionary and is none.
AssemblyFailure malformed(std::string_view key);

/// Borrowed from the local rules.
struct Selection {
  const Dictionary* partNumber = nullptr;  ///< null: the rules know no part numbers
  const Dictionary* region = nullptr;      ///< null: the part number knows no regions

  friend bool operator==(const Selection&, const Selection&) = default;
};

/// Absent with the reason when the part number or the region is unknown, or what they select is no dictionary.
std::optional<Selection> select(const Dictionary& rules, const Value* partNumber, const Value* region,
                                std::optional<AssemblyFailure>& failure);

}  // namespace tavik

#endif
