/// @file
/// Local rules taken apart: the layers that give devices their entries, and which entry is in effect for which devices.
#ifndef TAVIK_TOOL_LINT_LOCAL_RULES_H
#define TAVIK_TOOL_LINT_LOCAL_RULES_H

#include <tavik/RuleOrigins.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lint/Document.h"
#include "rules/KindRules.h"

namespace tavik::tool::lint {

inline constexpr std::string_view kRegionRules = "RegionRules";

struct Layer;
class RuleComparison;

/// An entry of a layer: a rule's name and its value, or a set's name.
struct Entry {
  std::string_view name;
  const Value* value;
  const Layer* layer;
  bool holds = false;      ///< some device gets the rule from this entry
  bool staysRule = false;  ///< for a set's name in a set: for some device it is not expanded
  /// An entry that replaces this one and removes its value, the value that is in effect instead, and the part number or
  /// region concerned; null if there is none.
  const Entry* replacedBy = nullptr;
  const Value* replacement = nullptr;
  const Layer* replacedFor = nullptr;
  std::size_t replacedInRegions = 0;  ///< for an entry next to "RegionRules": the number of regions

  [[nodiscard]] Place place() const;
  /// Its "value"; null if there is none.
  [[nodiscard]] const Value* expected() const noexcept;
};

/// The entries of one dictionary.
struct Layer {
  LocalEntry::Layer category;
  Place place;
  std::string_view partNumber;  ///< for kPartNumber and kRegion
  std::vector<Entry> entries = {};
  std::unordered_map<std::string_view, Entry*> byName = {};
  std::vector<Entry*> contested = {};  ///< entries that an entry of a set after this layer may replace or expand
  std::size_t regions = 1;             ///< for kPartNumber: the number of regions with entries, if it has "RegionRules"
  bool isReached = false;              ///< at least one device gets it

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

  /// A value that should be a dictionary but is not, with the devices that cannot be checked because of it.
  struct Malformed {
    Place place;
    std::string whom;
  };

  Place root;
  std::deque<Place> tables;  ///< the parents of layers
  std::deque<Layer> layers;
  std::vector<Malformed> malformed;
  /// Part numbers and regions, or the whole document, that give their devices no rules.
  std::vector<Place> withoutRules;
  KindRules kinds;
  mutable std::shared_ptr<const RuleComparison> comparison;  ///< of the rules of each kind, once a check has needed it

  /// The entry with this content; null if no layer has it.
  [[nodiscard]] const Entry* entryOf(const Value* content) const;

 private:
  std::unordered_map<const Value*, const Entry*> byValue_;
};

}  // namespace tavik::tool::lint

#endif
