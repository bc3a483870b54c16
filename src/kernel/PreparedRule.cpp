// Making a rule ready: the definition with the local value, its expression parsed, its predicates looked up.

#include "kernel/PreparedRule.h"

#include <tavik/ZRTTavikKernel.h>

#include "values/DictionaryKey.h"
#include "values/MaybeAbsent.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::ValueAccess;

PreparedRule::PreparedRule(const EntryList::Entry& local, const Dictionary* definition, const Dictionary& device,
                           bool forMany)
    : name(*local.name), wantsAbsence(name.ifString()->starts_with("No Attribute")) {
  if (definition != nullptr) read(*definition);
  if (attribute != nullptr) {
    attributeKey = detail::Sought(*attribute);
    attributeHash = attributeKey.hash();
    if (forMany) {
      const Value* found = ValueAccess::find(device, attributeKey, attributeHash);
      if (found != nullptr) attributeGuess = ValueAccess::positionOf(device, *found);
    } else {
      ValueAccess::prefetch(device, attributeHash);
    }
  }
  for (const auto& [key, entry] : detail::entriesOf(*local.value->ifDictionary())) {
    if (ValueAccess::is(key, "value")) value = &entry;
  }
  takesValueFromReference = references != nullptr && value == nullptr && predicate != nullptr &&
                            ZRTTavikKernel::useReferenceForValue(*predicate->ifString());
  if (predicate != nullptr) prepare(call, *ValueAccess::text(*predicate), forMany);
  if (call.operation != nullptr) return;  // one word, and known
  const Expression parsed = expression();
  errorCode = parsed.errorCode;
  combination = parsed.combination;
  if (errorCode != 0) return;
  prepare(call, parsed.words[0], forMany);
  if (combination == Expression::Operator::kAnd || combination == Expression::Operator::kOr) {
    secondCall = std::make_unique<PreparedCall>();
    prepare(*secondCall, parsed.words[1], forMany);
  }
}

Expression PreparedRule::expression() const noexcept { return Expression::parse(textOf(predicate)); }

void PreparedRule::read(const Dictionary& definition) {
  for (const auto& [key, entry] : detail::entriesOf(definition)) {
    if (ValueAccess::is(key, "attribute")) {
      attribute = entry.isString() ? &entry : nullptr;
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

// Looks the word up in what is an empty call.
void PreparedRule::prepare(PreparedCall& made, std::string_view word, bool forMany) const {
  made.operation = findOperation(word);
  const bool callsWithReferences = references != nullptr && !takesValueFromReference;
  if (made.operation == nullptr || callsWithReferences) return;
  const auto* comparison = std::get_if<const Comparison*>(&made.operation->call);
  if (comparison == nullptr) return;
  made.comparison = *comparison;
  if (forMany && !takesValueFromReference) made.expected = made.comparison->expected(value, nullptr);
}

}  // namespace tavik
