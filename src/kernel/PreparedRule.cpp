// Prepares a rule: combines the definition with the local value, parses the expression, looks up the predicates.

#include "kernel/PreparedRule.h"

#include "kernel/Records.h"
#include "values/MaybeAbsent.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::ValueAccess;
using Operator = PredicateExpression::Operator;

PreparedName::PreparedName(const Value* name) : name_(name) {
  if (name != nullptr) key_ = detail::KnownKey(*name);
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
    const Value* source = reference->find("source");
    listed.push_back(
        {own != nullptr ? PreparedName(own) : attribute, source, PreparedName(findIfString(*reference, "source"))});
  }
}

void PreparedRule::readExpression() {
  const auto text = textOf(predicate);
  const Operation* only = text ? findOperation(*text) : nullptr;
  takesValueFromReference = references != nullptr && value == nullptr && only != nullptr && only->referenceMayBeValue;
  if (only != nullptr) {
    call = {*text, only->takesReferences == callsWithReferences() ? only : nullptr};
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
  return {word, findOperation(word, callsWithReferences())};
}

void PreparedRule::prepareForDevicesLike(const Dictionary& device, const Dictionary* sources,
                                         detail::DictionarySheet& sheet) {
  attribute.expectLike(device);
  for (PreparedReference& reference : listed) {
    if (sources != nullptr) reference.sourceName.expectLike(*sources);
    const Dictionary* from = reference.from(device, sources);
    if (from != nullptr) reference.name.expectLike(*from);
  }
  prepareRecord(sheet);
}

// The expected text can be made in advance if it consists of phrases for the rule's value.
void PreparedRule::prepareRecord(detail::DictionarySheet& sheet) {
  const Phrase* phrase = phraseOf(call);
  const Phrase* second = secondCall ? phraseOf(*secondCall) : nullptr;
  recordHasExpected = phrase != nullptr && (!secondCall || second != nullptr);
  Value expected;
  if (recordHasExpected) expected = phrase->of(value);
  if (recordHasExpected && combination != Operator::kNone) {
    const std::optional<Value> other = second == nullptr ? std::nullopt : std::optional(second->of(value));
    expected = combinedExpectation(combination, expected, other ? &*other : nullptr);
  }
  record = Records::addTo(sheet, name, false, Value(), expected);
}

const Phrase* PreparedRule::phraseOf(const PreparedCall& made) const noexcept {
  return made.operation == nullptr || value == nullptr ? nullptr : made.operation->phrase;
}

}  // namespace tavik
