// Prepares a rule: combines the definition with the local value, parses the expression, looks up the predicates.

#include "kernel/PreparedRule.h"

#include "values/MaybeAbsent.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::ValueAccess;
using Operator = PredicateExpression::Operator;

PreparedName::PreparedName(const Value* name) : name_(name) {
  if (name == nullptr) return;
  key_ = detail::Sought(*name);
  hash_ = key_.hash();
}

void PreparedName::expectLike(const Dictionary& attributes) noexcept {
  if (const Value* found = find(attributes)) guess_ = ValueAccess::positionOf(attributes, *found);
}

PreparedRule::PreparedRule(const Value& ruleName, const Dictionary& local, const Dictionary* definition)
    : name(ruleName), wantsAbsence(ruleName.ifString()->starts_with("No Attribute")) {
  if (definition != nullptr) readDefinition(*definition);
  if (references != nullptr) readReferences();
  for (const auto& [key, entry] : detail::entriesOf(local)) {
    if (ValueAccess::is(key, "value")) value = &entry;
  }
  readExpression();
}

void PreparedRule::readDefinition(const Dictionary& definition) {
  for (const auto& [key, entry] : detail::entriesOf(definition)) {
    if (ValueAccess::is(key, "attribute")) {
      attribute = PreparedName(entry.isString() ? &entry : nullptr);
    } else if (ValueAccess::is(key, "predicate")) {
      predicate = entry.isString() ? &entry : nullptr;
    } else if (ValueAccess::is(key, "value")) {
      value = &entry;
    } else if (ValueAccess::is(key, "references")) {
      references = &entry;
    } else if (ValueAccess::is(key, "hideResult")) {
      hidesResult = true;
    }
  }
}

void PreparedRule::readReferences() {
  const Array* all = references->ifArray();
  referencesAreMalformed = all == nullptr;
  if (referencesAreMalformed) return;
  listed.reserve(all->size());
  for (const Value& element : *all) {
    const Dictionary* reference = element.ifDictionary();
    referencesAreMalformed = reference == nullptr;
    if (referencesAreMalformed) return;
    const Value* own = findIfString(*reference, "attribute");
    listed.push_back({own != nullptr ? PreparedName(own) : attribute, reference->find("source")});
  }
}

void PreparedRule::readExpression() {
  const auto text = textOf(predicate);
  const Operation* only = text ? findOperation(*text) : nullptr;
  takesValueFromReference = references != nullptr && value == nullptr && only != nullptr && only->referenceMayBeValue;
  if (only != nullptr) {
    call = {*text, only->takesReferences == callsWithReferences() ? only : nullptr, std::nullopt};
    return;
  }
  const auto expression = PredicateExpression::parse(text);
  errorCode = expression.errorCode();
  if (expression.isMalformed()) return;
  combination = expression.combination();
  call = callOf(expression.predicates().front());
  if (expression.predicates().size() == 2) {
    secondCall = std::make_unique<PreparedCall>(callOf(expression.predicates().back()));
  }
}

PreparedCall PreparedRule::callOf(std::string_view word) const noexcept {
  return {word, findOperation(word, callsWithReferences()), std::nullopt};
}

void PreparedRule::prepareForDevicesLike(const Dictionary& device, const Dictionary* sources) {
  attribute.expectLike(device);
  for (PreparedReference& reference : listed) {
    const Dictionary* from = reference.source == nullptr ? &device : dictionaryOf(find(sources, reference.source));
    if (from != nullptr) reference.name.expectLike(*from);
  }
  makeText(call);
  if (secondCall) makeText(*secondCall);
  if (combination == Operator::kNone || !call.expectedText || (secondCall && !secondCall->expectedText)) return;
  const Value* const second = secondCall ? &*secondCall->expectedText : nullptr;
  combinedText = combinedExpectation(combination, *call.expectedText, second);
}

void PreparedRule::makeText(PreparedCall& made) const {
  const Phrase* phrase = made.operation == nullptr ? nullptr : made.operation->phrase;
  if (phrase != nullptr && value != nullptr) made.expectedText = phrase->of(value);
}

}  // namespace tavik
