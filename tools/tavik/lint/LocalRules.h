/// @file
/// Local rules taken apart: the layers that devices get entries from, and which entry comes out on top for whom.
#ifndef TAVIK_TOOL_LINT_LOCAL_RULES_H
#define TAVIK_TOOL_LINT_LOCAL_RULES_H

#include <tavik/RuleOrigins.h>

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lint/Document.h"

namespace tavik::tool::lint {

inline constexpr std::string_view kRegionRules = "RegionRules";

inline bool namesSet(std::string_view name) { return name.ends_with("RuleSet"); }

struct Layer;

/// An entry of a layer: a rule's name with what stands under it, or a set's name.
struct Entry {
  std::string_view name;
  const Value* value;
  const Layer* layer;
  bool holds = false;      ///< some device gets the rule by this entry
  bool staysRule = false;  ///< of a set's name in a set: for some device it is not expanded
  /// An entry that replaces this one and takes its value away, the value that holds instead, and the part number or
  /// region for which it does; null where there is none.
  const Entry* replacedBy = nullptr;
  const Value* replacement = nullptr;
  const Layer* replacedFor = nullptr;
  std::size_t replacedInRegions = 0;  ///< of an entry beside "RegionRules": in how many of them

  [[nodiscard]] Place place() const;
  /// The "value" in it; null where there is none.
  [[nodiscard]] const Value* expected() const noexcept;
};

/// Entries that stand together.
struct Layer {
  LocalEntry::Layer category;
  Place place;
  std::string_view partNumber;  ///< of kPartNumber and kRegion
  std::vector<Entry> entries = {};
  std::unordered_map<std::string_view, Entry*> byName = {};
  std::vector<Entry*> contested = {};  ///< those that an entry of a set after this layer may replace or expand
  std::size_t regions = 1;             ///< of kPartNumber: those that have entries, if it has "RegionRules"
  bool isReached = false;              ///< by some device

  [[nodiscard]] Entry* find(std::string_view entryName) const;
  /// "part number A in region B"
  [[nodiscard]] std::string whom() const;
};

/// One document of local rules.
struct LocalRules {
  /// Borrows the two.
  LocalRules(const Document& document, const Document& library);
  LocalRules(const LocalRules&) = delete;
  LocalRules& operator=(const LocalRules&) = delete;

  /// What should be a dictionary and is none, with the devices that it keeps from a check.
  struct Malformed {
    Place place;
    std::string whom;
  };

  Place root;
  std::deque<Place> tables;  ///< that layers hang from
  std::deque<Layer> layers;
  std::vector<Malformed> malformed;
  /// Part numbers and regions, or the whole document, that give their devices no rule.
  std::vector<Place> withoutRules;
};

}  // namespace tavik::tool::lint

#endif
