#include "test/IndexedRules.h"

#include <algorithm>

#include "test/AttributeChange.h"

namespace tavik::tool {
namespace {

std::optional<Value> copyOf(const Value* value) { return value == nullptr ? std::nullopt : std::optional(*value); }

std::optional<std::string> stringOf(const Value* value) {
  const auto text = value == nullptr ? std::nullopt : value->ifString();
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

}  // namespace

IndexedRules::IndexedRules(RuleOrigins::Device device, std::optional<Value> partNumber, std::optional<Value> region)
    : device_(std::move(device)), partNumber_(std::move(partNumber)), region_(std::move(region)) {
  for (const RuleOrigin& rule : device_.rules) {
    const std::size_t number = facts_.size();
    numbers_.emplace(rule.name, number);
    facts_.emplace_back(rule.name, rule.definition, rule.value());
    for (const RuleOperand& operand : facts_.back().operands()) {
      std::vector<std::size_t>& all = readers_[operand];
      if (all.empty() || all.back() != number) all.push_back(number);
    }
  }
}

std::optional<std::size_t> IndexedRules::find(std::string_view rule) const {
  const auto found = numbers_.find(rule);
  return found == numbers_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::size_t> IndexedRules::readers(const RuleOperand& operand) const {
  std::vector<std::size_t> numbers;
  const auto add = [&](const RuleOperand& read) {
    const auto found = readers_.find(read);
    if (found != readers_.end()) numbers.insert(numbers.end(), found->second.begin(), found->second.end());
  };
  add(operand);
  const std::string_view packed = operand.source ? "" : packedAttributeOf(operand.name);
  if (!packed.empty()) add({std::nullopt, std::string(packed)});
  std::ranges::sort(numbers);
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return numbers;
}

bool IndexedRules::hasSameRules(const IndexedRules& other) const {
  return std::ranges::equal(rules(), other.rules(), [](const RuleOrigin& mine, const RuleOrigin& theirs) {
    return mine.name == theirs.name && mine.definition == theirs.definition &&
           mine.entries.back().content == theirs.entries.back().content;
  });
}

std::vector<std::string_view> IndexedRules::attributeNames() const {
  std::vector<std::string_view> names;
  for (const auto& [operand, numbers] : readers_) {
    if (!operand.source) names.push_back(operand.name);
  }
  return names;
}

std::shared_ptr<const IndexedRules> IndexedRulesCache::of(const Dictionary& attributes) {
  const Value* const partNumber = attributes.find("ModelNumber");
  const Value* const region = attributes.find("RegionInfo");
  auto& known = known_[{stringOf(partNumber), stringOf(region)}];
  if (known) return known;
  std::optional<Error> error;
  auto device = origins_.of(partNumber, region, error);
  if (device) known = std::make_shared<const IndexedRules>(*std::move(device), copyOf(partNumber), copyOf(region));
  return known;
}

}  // namespace tavik::tool
