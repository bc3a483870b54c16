/// @file
/// Local rules taken apart: the layers that devices get entries from, and which entry comes out on top for whom.
#ifndef TAVIK_TOOL_LINT_LOCAL_RULES_H
#define TAVIK_TOOL_LINT_LOCAL_RULES_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
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
  bool holds = false;  ///< some device gets the rule by this entry
  /// An entry that replaces this one and takes its value away, and for which devices; null where there is none.
  const Entry* replacedBy = nullptr;
  std::string replacedFor = {};
  std::size_t replacedInRegions = 0;  ///< of an entry beside "RegionRules": in how many of them

  [[nodiscard]] Place place() const;
  /// The "value" in it; null where there is none.
  [[nodiscard]] const Value* expected() const noexcept;
};

/// Entries that stand together.
struct Layer {
  enum class Category : std::uint8_t { kPartNumber, kRegion, kGeneric, kSet };

  Layer(Category layerCategory, const Place& where, std::string_view part, std::string_view of)
      : category(layerCategory), place(where), partNumber(part), name(of) {}

  Category category;
  Place place;
  std::string_view partNumber;  ///< of kPartNumber and kRegion
  std::string_view name;        ///< of the region or set
  std::vector<Entry> entries;
  std::unordered_map<std::string_view, Entry*> byName;
  std::vector<Entry*> contested;  ///< those that an entry of a set may replace
  std::vector<Entry*> setNames;
  bool isReached = false;  ///< by some device

  [[nodiscard]] Entry* find(std::string_view entryName) const;
  /// "part number A in region B"
  [[nodiscard]] std::string whom() const;
};

/// One document of local rules.
class LocalRules {
 public:
  /// Borrows the two.
  LocalRules(const Document& document, const Document& library);
  LocalRules(const LocalRules&) = delete;
  LocalRules& operator=(const LocalRules&) = delete;

  [[nodiscard]] const Place& root() const noexcept { return root_; }
  [[nodiscard]] const std::deque<Layer>& layers() const noexcept { return layers_; }

  /// The expected value of the rule by this entry: its own, else the library's; null where there is none.
  [[nodiscard]] const Value* effectiveValue(const Entry& entry) const;

  /// What should be a dictionary and is none, with the devices that it keeps from a check.
  struct Malformed {
    Place place;
    std::string whom;
  };
  [[nodiscard]] const std::vector<Malformed>& malformed() const noexcept { return malformed_; }
  /// Part numbers and regions, or the whole document, that give their devices no rule.
  [[nodiscard]] const std::vector<Place>& withoutRules() const noexcept { return withoutRules_; }
  /// Names of sets in a set that stay rules of that name, for some device.
  [[nodiscard]] const std::unordered_set<const Entry*>& unexpanded() const noexcept { return unexpanded_; }

 private:
  /// What devices of one part number and region get: its entries with the region's among them, then the generic ones,
  /// then those of the sets, each replacing earlier ones of its name.
  struct Device {
    Layer* own = nullptr;  ///< null: the document has no part numbers
    Layer* region = nullptr;
    std::size_t regionIndex = 0;  ///< number of own entries before those of the region
    std::string whom;
    std::vector<Layer*> sets = {};
  };

  const Dictionary* dictionary(const Place& place, std::string whom);
  const Dictionary* topDictionary(std::string_view key);
  Layer& addLayer(Layer::Category category, const Place& place, std::string_view partNumber, std::string_view name);
  void readGeneric();
  void readSets();
  void findContested();
  void readPartNumbers();
  void readPartNumber(const Place& place, std::string_view partNumber);

  void assemble(Device device);
  void noteWithoutRules(const Device& device);
  void findSets(Device& device);
  void reach(Layer* layer);
  void settle(Entry& entry, Entry* winner, const std::string& whom) const;
  [[nodiscard]] bool dropsValue(const Entry& winner, const Entry& entry) const;
  void settleOwn(const Device& device);
  void settleRegion(const Device& device);
  void settleShared(const Device& device);
  void settleNested(const Device& device);
  /// The entry of that name in the generic entries or sets, the later one of several; null where there is none.
  [[nodiscard]] Entry* above(std::string_view name, const Device& device) const;
  [[nodiscard]] Entry* inSets(std::string_view name, const Device& device) const;

  Place root_;
  const Dictionary* library_;
  std::deque<Place> places_;  // that layers hang from
  std::deque<Layer> layers_;
  Layer* generic_ = nullptr;
  std::unordered_map<std::string_view, Layer*> sets_;
  std::unordered_map<std::string_view, std::size_t> setsWith_;  // rule name -> how many sets have it
  std::set<std::vector<Layer*>> settledSets_;
  std::set<std::pair<const Layer*, std::vector<Layer*>>> settledOwn_;
  std::vector<Malformed> malformed_;
  std::vector<Place> withoutRules_;
  std::unordered_set<const Entry*> unexpanded_;
};

}  // namespace tavik::tool::lint

#endif
