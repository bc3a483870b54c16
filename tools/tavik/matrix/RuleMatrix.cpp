#include "matrix/RuleMatrix.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <numeric>
#include <unordered_set>

#include "io/Json.h"

namespace tavik::tool {
namespace {

/// A most common variant of more kinds is that of "every other device".
constexpr std::size_t kMostNamed = 8;

std::uint64_t mixed(std::uint64_t number) {
  number += 0x9e3779b97f4a7c15U;
  number = (number ^ (number >> 30U)) * 0xbf58476d1ce4e5b9U;
  number = (number ^ (number >> 27U)) * 0x94d049bb133111ebU;
  return number ^ (number >> 31U);
}

}  // namespace

const RuleMatrix::Variant& RuleMatrix::Row::usual() const {
  return variants.back().kinds > variants.front().kinds ? variants.back() : variants.front();
}

RuleMatrix::RuleMatrix(const KindRules& rules, const std::vector<std::string>& names)
    : rules_(rules), kinds_(rules.origins()) {
  for (std::size_t kind = 0; kind < rules.kinds().size(); ++kind) {
    const auto& refusal = rules.kinds()[kind].refusal;
    (refusal ? refused_[std::string(refusal->localizedDescription())] : accepted_).add(kind);
  }
  addRows(names);
  addVariants();
  addColumns();
  sortVariants();
}

void RuleMatrix::addRows(const std::vector<std::string>& names) {
  std::unordered_set<std::string_view> inUse;
  std::vector<std::string_view> order;
  for (const RulePart& part : rules_.parts()) {
    if (part.kinds().empty()) continue;
    for (const KindRule& rule : part.rules()) {
      if (inUse.insert(rule.name).second) order.push_back(rule.name);
    }
  }
  const std::unordered_set<std::string_view> wanted(names.begin(), names.end());
  const auto add = [&](std::string_view name) {
    if ((!wanted.empty() && !wanted.contains(name)) || !places_.try_emplace(name, rows_.size()).second) return;
    rows_.push_back({.name = name, .definition = rules_.library().findDictionary(name)});
  };
  for (const auto [name, definition] : rules_.library()) {
    if (inUse.contains(name)) add(name);
  }
  for (const std::string_view name : order) add(name);
}

void RuleMatrix::addVariants() {
  std::unordered_map<std::string, std::size_t> variants;  // row, origin and value -> place in the row
  for (const RulePart& part : rules_.parts()) {
    if (part.kinds().empty()) continue;
    for (const KindRule& rule : part.rules()) {
      const auto place = places_.find(rule.name);
      if (place == places_.end()) continue;
      Row& row = rows_[place->second];
      std::string from = rule.valueFrom();
      std::string key = std::to_string(place->second) + ' ' + from + '\0';
      if (const Value* const value = rule.value()) key += toJson(*value);
      const auto [variant, isNew] = variants.try_emplace(std::move(key), row.variants.size());
      if (isNew) row.variants.push_back({.rule = &rule, .from = std::move(from)});
      row.variants[variant->second].kinds += part.kinds().size();
      row.variants[variant->second].parts.push_back(&part);
      cells_.emplace(&rule, std::pair(place->second, variant->second));
    }
  }
}

void RuleMatrix::addColumns() {
  std::vector<std::size_t> firstCells;  // of each row, so that every variant has a number
  std::size_t count = 0;
  for (const Row& row : rows_) {
    firstCells.push_back(count);
    count += row.variants.size();
  }
  std::unordered_map<const RulePart*, Signature> signatures;
  for (const RulePart& part : rules_.parts()) {
    Signature sum = part.base() == nullptr ? Signature() : signatures.at(part.base());
    for (const KindRule& rule : part.rules()) {
      const auto cell = cells_.find(&rule);
      if (cell == cells_.end()) continue;
      const std::uint64_t number = firstCells[cell->second.first] + cell->second.second;
      sum.first += mixed(2 * number);
      sum.second += mixed(2 * number + 1);
    }
    signatures.emplace(&part, sum);
  }
  std::map<Signature, std::size_t> places;
  for (std::size_t kind = 0; kind < rules_.kinds().size(); ++kind) {
    const RulePart* const part = rules_.kinds()[kind].part;
    if (part == nullptr) continue;
    const auto [place, isNew] = places.try_emplace(signatures.at(part), columns_.size());
    if (isNew) columns_.emplace_back();
    columns_[place->second].add(kind);
  }
}

/// Also adds the variants of kinds that do not get a rule.
void RuleMatrix::sortVariants() {
  std::vector<std::vector<std::size_t>> moved(rows_.size());  // the new place of each variant
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    std::vector<Variant>& variants = rows_[i].variants;
    std::vector<std::size_t> order(variants.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, std::ranges::greater(), [&](std::size_t place) { return variants[place].kinds; });
    std::vector<Variant> sorted;
    std::size_t rest = accepted_.size();
    moved[i].resize(order.size());
    for (const std::size_t place : order) {
      rest -= variants[place].kinds;
      moved[i][place] = sorted.size();
      sorted.push_back(std::move(variants[place]));
    }
    if (rest != 0) sorted.push_back({.kinds = rest});
    variants = std::move(sorted);
  }
  for (auto& [rule, cell] : cells_) cell.second = moved[cell.first][cell.second];
}

std::vector<RuleMatrix::Column> RuleMatrix::columns() const {
  std::vector<const Variant*> none;
  for (const Row& row : rows_) none.push_back(&row.variants.back());
  std::vector<Column> columns;
  for (const KindSet& kinds : columns_) {
    Column column{kinds, none};
    for (const RulePart* part = rules_.kinds()[kinds.first()].part; part != nullptr; part = part->base()) {
      for (const KindRule& rule : part->rules()) {
        const auto cell = cells_.find(&rule);
        if (cell == cells_.end()) continue;
        column.cells[cell->second.first] = &rows_[cell->second.first].variants[cell->second.second];
      }
    }
    columns.push_back(std::move(column));
  }
  return columns;
}

const KindSet& RuleMatrix::kindsOf(const RulePart& part) {
  const auto [place, isNew] = partKinds_.try_emplace(&part);
  if (isNew) place->second = KindSet(part.kinds());
  return place->second;
}

const KindSet& RuleMatrix::kindsOf(const Row& row, const Variant& variant) {
  const bool gets = variant.rule != nullptr;
  std::vector<const RulePart*> parts = variant.parts;
  if (!gets) {
    for (const Variant& other : row.variants) std::ranges::copy(other.parts, std::back_inserter(parts));
    std::ranges::sort(parts);
  }
  const auto [place, isNew] = combined_.try_emplace({gets, parts});
  if (!isNew) return *place->second;
  std::vector<const KindSet*> sets;
  for (const RulePart* const part : parts) sets.push_back(&kindsOf(*part));
  const KindSet* const accepted = &accepted_;
  KindSet kinds = gets ? KindSet::combined(sets, {}) : KindSet::combined({&accepted, 1}, sets);
  place->second = &*sets_.insert(std::move(kinds)).first;
  return *place->second;
}

std::string RuleMatrix::devicesText(const Row& row, const Variant& variant) {
  if (row.variants.size() == 1) return "every device";
  if (&variant == &row.usual() && variant.kinds > kMostNamed) return "every other device";
  const KindSet& kinds = kindsOf(row, variant);
  const auto [text, isNew] = texts_.try_emplace(&kinds);
  if (isNew) text->second = kinds_.text(kinds.members());
  return text->second;
}

}  // namespace tavik::tool
