#include "rules/RuleFacts.h"

#include <algorithm>

namespace tavik::tool {
namespace {

bool isEmptyArray(const Value& value) { return value.ifArray() != nullptr && value.ifArray()->empty(); }

/// Whether storing the value of a forwarding predicate can raise a fault.
bool mayFault(const PredicateFacts& facts, const Value& value) {
  return std::ranges::any_of(facts.value.entries, [&](const EntryFacts& entry) {
    return entry.without == Without::kFault &&
           (value.ifDictionary() == nullptr || !value.ifDictionary()->contains(entry.key));
  });
}

}  // namespace

RuleFacts::RuleFacts(std::string_view name, const Dictionary* definition, const Value* value)
    : wantsAbsence_(requiresAbsence(name)), value_(value) {
  if (definition == nullptr) return;
  std::optional<std::string> attribute;
  if (const auto text = definition->findString("attribute")) attribute = *text;
  if (attribute) operands_.push_back({std::nullopt, *attribute});
  if (wantsAbsence_) return;
  if (const Value* const references = definition->find("references")) readReferences(*references, attribute);
  const auto expression = PredicateExpression::parse(definition->findString("predicate"));
  combination_ = expression.combination();
  predicates_.assign(expression.predicates().begin(), expression.predicates().end());
}

void RuleFacts::readReferences(const Value& references, const std::optional<std::string>& attribute) {
  hasReferences_ = true;
  if (references.ifArray() == nullptr) return;
  for (const Value& element : *references.ifArray()) {
    const Dictionary* const reference = element.ifDictionary();
    if (reference == nullptr) return;
    const auto own = reference->findString("attribute");
    const Value* const source = reference->find("source");
    if (!own && !attribute) continue;
    operands_.push_back(
        {source == nullptr ? std::nullopt : std::optional(description(source)), own ? std::string(*own) : *attribute});
  }
}

/// The predicate in the form in which the rule calls it; null if there is none.
const PredicateFacts* RuleFacts::called(std::string_view word) const {
  const PredicateFacts* const facts = PredicateFacts::find(word);
  if (facts == nullptr) return nullptr;
  const bool takesFirst = value_ == nullptr && facts->firstReferenceMayBeValue && combination_ == Operator::kNone;
  return facts->takesReferences == (hasReferences_ && !takesFirst) ? facts : nullptr;
}

std::vector<const PredicateFacts*> RuleFacts::valueReaders() const {
  std::vector<const PredicateFacts*> readers;
  for (const std::string_view word : predicates_) {
    const PredicateFacts* const facts = called(word);
    if (facts != nullptr && facts->withoutValue != Without::kSame) readers.push_back(facts);
  }
  return readers;
}

bool RuleFacts::alwaysPasses(std::string_view word) const {
  const PredicateFacts* const facts = called(word);
  if (facts == nullptr) return false;
  if (value_ == nullptr) return !hasReferences_ && facts->withoutValue == Without::kPasses;
  if (facts->value.empty == ValueFacts::Empty::kPassesAlways && isEmptyArray(*value_)) return true;
  return facts->forwards && !mayFault(*facts, *value_);
}

bool RuleFacts::cannotFail() const {
  if (wantsAbsence_) return operands_.empty();
  const auto passes = [&](std::string_view word) { return alwaysPasses(word); };
  switch (combination_) {
    case Operator::kNot:
      return called(predicates_.front()) == nullptr;  // an unknown predicate fails
    case Operator::kOr:
      return std::ranges::any_of(predicates_, passes);
    case Operator::kNone:
    case Operator::kAnd:
      break;
  }
  return !predicates_.empty() && std::ranges::all_of(predicates_, passes);
}

bool RuleFacts::forwards() const {
  if (predicates_.size() != 1) return false;
  const PredicateFacts* const facts = called(predicates_.front());
  return facts != nullptr && facts->forwards;
}

}  // namespace tavik::tool
