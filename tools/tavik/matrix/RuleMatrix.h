/// @file
/// Rules by part number and region: for each rule, its different expected values and the kinds of device they are for.
#ifndef TAVIK_TOOL_MATRIX_RULE_MATRIX_H
#define TAVIK_TOOL_MATRIX_RULE_MATRIX_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "rules/DeviceKinds.h"
#include "rules/KindRules.h"
#include "rules/KindSet.h"

namespace tavik::tool {

class RuleMatrix {
 public:
  /// An expected value of a rule with its origin, or that kinds do not get the rule.
  struct Variant {
    const KindRule* rule = nullptr;  ///< null if they do not get the rule
    std::string from = {};           ///< as KindRule::valueFrom
    std::size_t kinds = 0;
    std::vector<const RulePart*> parts = {};  ///< for those that get it
  };
  struct Row {
    std::string_view name;
    const Dictionary* definition = nullptr;  ///< null if the library does not define the rule
    /// Most kinds first; that kinds do not get the rule comes last.
    std::vector<Variant> variants = {};

    /// The variant of the most kinds.
    [[nodiscard]] const Variant& usual() const;
  };
  /// Kinds whose rules are the same.
  struct Column {
    KindSet kinds;
    std::vector<const Variant*> cells;  ///< one for each row
  };

  /// `names`: the only rules to include; empty for all. Borrows `rules`.
  RuleMatrix(const KindRules& rules, const std::vector<std::string>& names);

  [[nodiscard]] const DeviceKinds& kinds() const noexcept { return kinds_; }
  /// Rules of the library in its order, then others. Only those that some kind gets.
  [[nodiscard]] const std::vector<Row>& rows() const noexcept { return rows_; }
  /// Kinds without rules, by the reason.
  [[nodiscard]] const std::map<std::string, KindSet>& refused() const noexcept { return refused_; }

  /// The kinds of a variant. Equal sets are the same object.
  [[nodiscard]] const KindSet& kindsOf(const Row& row, const Variant& variant);
  /// The same as text; "every other device" for the most common variant.
  [[nodiscard]] std::string devicesText(const Row& row, const Variant& variant);
  [[nodiscard]] std::size_t countColumns() const { return columns_.size(); }
  /// Takes memory for every rule of every column.
  [[nodiscard]] std::vector<Column> columns() const;

 private:
  /// Equal for kinds with the same variants.
  using Signature = std::pair<std::uint64_t, std::uint64_t>;

  void addRows(const std::vector<std::string>& names);
  void addVariants();
  void addColumns();
  void sortVariants();
  [[nodiscard]] const KindSet& kindsOf(const RulePart& part);

  const KindRules& rules_;
  DeviceKinds kinds_;
  KindSet accepted_;
  std::map<std::string, KindSet> refused_;
  std::vector<Row> rows_;
  std::unordered_map<std::string_view, std::size_t> places_;                        // of rows
  std::unordered_map<const KindRule*, std::pair<std::size_t, std::size_t>> cells_;  // row and variant
  std::vector<KindSet> columns_;
  std::unordered_map<const RulePart*, KindSet> partKinds_;
  std::map<std::pair<bool, std::vector<const RulePart*>>, const KindSet*> combined_;
  std::set<KindSet> sets_;
  std::unordered_map<const KindSet*, std::string> texts_;
};

}  // namespace tavik::tool

#endif
