/// @file
/// The rules of every kind of device, with the rules that several kinds share listed once.
#ifndef TAVIK_TOOL_RULES_KIND_RULES_H
#define TAVIK_TOOL_RULES_KIND_RULES_H

#include <tavik/Error.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tavik::tool {

/// Whether a name in the local rules is that of a rule set.
inline bool namesSet(std::string_view name) { return name.ends_with("RuleSet"); }

/// A rule as its kinds of device get it.
struct KindRule {
  std::string_view name;
  const Dictionary* definition;  ///< null if the library does not define the rule
  LocalEntry entry;              ///< the effective one

  /// The expected value: that of the entry, otherwise that of the definition; null if neither has one.
  [[nodiscard]] const Value* value() const noexcept;
  /// Where the expected value is defined: "part_number", "region", "generic", "set NAME" or "library"; empty if there
  /// is no expected value.
  [[nodiscard]] std::string valueFrom() const;
};

/// Finds positions in a list by name, in little memory. `nameAt`: returns the name at a position.
class NameIndex {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  [[nodiscard]] std::size_t find(std::string_view name, const auto& nameAt) const {
    if (slots_.empty()) return kNone;
    const std::uint32_t found = slots_[slotOf(name, nameAt)];
    return found == 0 ? kNone : found - 1;
  }
  /// Adds the next name, which must be new: the first one has position 0.
  void add(std::string_view name, const auto& nameAt) {
    if (2 * (size_ + 1) > slots_.size()) grow(nameAt);
    slots_[slotOf(name, nameAt)] = ++size_;
  }

 private:
  [[nodiscard]] std::size_t slotOf(std::string_view name, const auto& nameAt) const {
    const std::size_t last = slots_.size() - 1;
    std::size_t slot = std::hash<std::string_view>()(name) & last;
    while (slots_[slot] != 0 && nameAt(slots_[slot] - 1) != name) slot = (slot + 1) & last;
    return slot;
  }
  void grow(const auto& nameAt) {
    slots_.assign(slots_.empty() ? 8 : 2 * slots_.size(), 0);
    for (std::uint32_t position = 0; position < size_; ++position) {
      slots_[slotOf(nameAt(position), nameAt)] = position + 1;
    }
  }

  std::vector<std::uint32_t> slots_;  // positions plus one, 0 if free; a power of two
  std::uint32_t size_ = 0;
};

/// Where a rule is evaluated among the rules of one kind.
struct EvaluationPlace {
  std::uint32_t layer = 0;
  std::uint32_t position = 0;
  friend auto operator<=>(const EvaluationPlace&, const EvaluationPlace&) = default;
};

/// Rules that some kinds of device have in common. A kind's rules are those of its part and of the part's bases, which
/// have no name in common.
class RulePart {
 public:
  enum Level : std::uint8_t {
    kCommon,      ///< from generic entries and the rule sets that they name; the same for all kinds
    kShared,      ///< also from generic entries and rule sets; for the kinds that name the same sets
    kPartNumber,  ///< from the entries of a part number; for its regions that name the same sets
    /// From the entries of a part number that some of its regions replace: this level is for one half of the regions,
    /// the next for one half of these, and so on.
    kHalf,
    kKind = kHalf + 32,  ///< of one kind, from its region
    kLevels
  };

  RulePart(Level level, RulePart* base) : level_(level), base_(base) {}

  [[nodiscard]] Level level() const noexcept { return level_; }
  /// The part with more rules of the same kinds; null for kCommon.
  [[nodiscard]] const RulePart* base() const noexcept { return base_; }
  [[nodiscard]] const std::vector<KindRule>& rules() const noexcept { return rules_; }
  /// Positions in `KindRules::kinds`, ascending. Empty if the devices of all its kinds are refused.
  [[nodiscard]] const std::vector<std::size_t>& kinds() const noexcept { return kinds_; }
  /// The rule with this name in this part alone; null if there is none.
  [[nodiscard]] const KindRule* find(std::string_view name) const noexcept;

 private:
  friend class KindRules;
  void add(const KindRule& rule, EvaluationPlace place);
  [[nodiscard]] std::size_t positionOf(std::string_view name) const noexcept;

  Level level_;
  RulePart* base_;
  std::vector<KindRule> rules_;
  std::vector<EvaluationPlace> places_;  // of the rules, unless the kind's part number or region names them, too
  std::vector<std::size_t> kinds_;
  NameIndex index_;
};

/// Takes time and memory in proportion to the size of the documents, if part numbers and regions name few combinations
/// of rule sets.
///
///     const KindRules rules(library, localRules);
///     for (const RulePart& part : rules.parts())
///       for (const KindRule& rule : part.rules()) { /* the kinds in part.kinds() get the rule */ }
///
/// Everything is valid as long as this object.
class KindRules {
 public:
  struct PartNumber;

  struct Kind {
    DeviceKind selectors;
    std::optional<Error> refusal = {};  ///< why its devices get no rules
    const RulePart* part = nullptr;     ///< the last level with rules of this kind; null if refused
    const PartNumber* partNumber = nullptr;
    const Dictionary* region = nullptr;
  };

  /// library, localRules: the documents' contents, without signatures.
  KindRules(Dictionary library, Dictionary localRules);
  KindRules(const KindRules&) = delete;
  KindRules& operator=(const KindRules&) = delete;
  ~KindRules();

  [[nodiscard]] const Dictionary& library() const noexcept { return library_; }
  [[nodiscard]] const RuleOrigins& origins() const noexcept { return origins_; }
  /// In the order of `RuleOrigins::deviceKinds`.
  [[nodiscard]] const std::vector<Kind>& kinds() const noexcept { return kinds_; }
  /// Bases come before the parts built on them.
  [[nodiscard]] const std::deque<RulePart>& parts() const noexcept { return parts_; }
  /// The kind of a device; null if the local rules do not list its part number or region.
  [[nodiscard]] const Kind* find(const std::optional<std::string>& partNumber,
                                 const std::optional<std::string>& region) const;
  /// The kinds that get a rule, or a rule from a rule set, ascending.
  [[nodiscard]] std::vector<std::size_t> kindsWith(std::string_view ruleOrSet) const;
  /// `rule`: the name of a rule of the kind.
  [[nodiscard]] static EvaluationPlace placeOf(const Kind& kind, std::string_view rule);

 private:
  class Assembly;

  Dictionary library_;
  Dictionary localRules_;
  RuleOrigins origins_;
  std::vector<Kind> kinds_;
  std::deque<RulePart> parts_;
  std::vector<std::unique_ptr<const PartNumber>> partNumbers_;
  std::unordered_map<std::string_view, std::unordered_map<std::string_view, std::size_t>> places_;  // of kinds
};

}  // namespace tavik::tool

#endif
