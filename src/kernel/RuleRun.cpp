// The evaluation of rules for one device.

#include "kernel/RuleRun.h"

#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <stdexcept>

#include "values/Description.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;
using Operator = PredicateExpression::Operator;

std::optional<std::string> stringOf(const Value* value) {
  const auto text = textOf(value);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<Value> copyOf(const Value* value) { return value == nullptr ? std::nullopt : std::optional(*value); }

}  // namespace

bool RuleRun::add(const PreparedRule& rule) {
  if (logs_) log(kernel_.platform(), "processing %@", rule.name);
  const Value* attribute = rule.attribute == nullptr ? nullptr
                                                     : ValueAccess::find(context_.attributes, rule.attributeKey,
                                                                         rule.attributeHash, rule.attributeGuess);
  if (notes_ != nullptr) note(rule, attribute);
  if (rule.wantsAbsence) return addAbsence(rule), true;
  if (attribute == nullptr || rule.references != nullptr) return gatherAndEvaluate(rule, attribute);
  return evaluate(rule, attribute, nullptr, rule.value);
}

void RuleRun::addAbsence(const PreparedRule& rule) {
  log(kernel_.platform(), "No attribute rule name: %@\n", rule.name);
  Dictionary record = ZRTTavikKernel::checkNotExist(context_.attributes, rule.attribute);
  record.setFirst("rule", rule.name);
  records_.add(std::move(record));
}

void RuleRun::addMissing(const PreparedRule& rule, const Missing& missing) {
  Dictionary record;
  const std::string source = missing.source == nullptr ? "device" : description(missing.source);
  ZRTTavikKernel::buildResultForGetAttributeError(missing.name, *rule.name.ifString(), source, record);
  records_.add(std::move(record));
}

bool RuleRun::gatherAndEvaluate(const PreparedRule& rule, const Value* attribute) {
  std::optional<Missing> missing;
  if (attribute == nullptr) missing = {rule.attribute, nullptr};
  Dictionary references;
  if (rule.references != nullptr && (!missing || notes_ != nullptr)) {
    const auto missingReference = fetchReferences(rule, references);
    if (!missing) missing = missingReference;
  }
  if (missing) return addMissing(rule, *missing), true;
  if (!rule.takesValueFromReference) return evaluate(rule, attribute, &references, rule.value);
  if (references.empty()) throw std::out_of_range("a rule without \"value\" has no reference to take it from");
  const Value* first = &references.begin().value();
  if (notes_ != nullptr) notes_->value = *first;
  return evaluate(rule, attribute, nullptr, first);
}

// Returns the first missing reference. Malformed references count as a missing attribute.
std::optional<RuleRun::Missing> RuleRun::fetchReferences(const PreparedRule& rule, Dictionary& references) {
  std::optional<Missing> missing;
  references.reserve(rule.listed.size());
  for (const auto& [name, source] : rule.listed) {
    const Value* value = fetch(name, source);
    if (notes_ != nullptr) note(name, source, value);
    if (value != nullptr) {
      ValueAccess::set(references, *name, *value);
    } else if (!missing) {
      missing = {name, source};
    }
    if (missing && notes_ == nullptr) return missing;
  }
  if (missing || !rule.referencesAreMalformed) return missing;
  if (notes_ != nullptr) notes_->referencesAreMalformed = true;
  return Missing{rule.attribute, nullptr};
}

const Value* RuleRun::fetch(const Value* name, const Value* source) const {
  if (source == nullptr) return find(&context_.attributes, name);
  return find(dictionaryOf(find(context_.sources, source)), name);
}

bool RuleRun::evaluate(const PreparedRule& rule, const Value* attribute, const Dictionary* references,
                       const Value* value) {
  if (rule.errorCode != 0) {
    context_.error = kernel_.handleError(rule.errorCode, format("invalid logical operator:%@", {rule.predicate}));
    return false;
  }
  const Operands operands = {attribute, references, value};
  Judgement judgement = judge(rule.call, operands);
  if (rule.combination != Operator::kNone) judgement = combine(rule, std::move(judgement), operands);
  records_.add(rule.name, judgement.result, std::move(judgement.actual),
               std::move(judgement.expected).text(&records_.slabs()));
  if (judgement.attributes != nullptr) {
    records_.setInLast("attributes", *judgement.attributes);
    forward(*judgement.attributes);
  }
  if (logs_) log(kernel_.platform(), "ruleResult: %@", records_.last());
  if (rule.hidesResult) records_.setInLast("hideResult", "");
  return true;
}

inline Judgement RuleRun::judge(const PreparedCall& call, const Operands& operands) {
  Judgement judgement = call.operation == nullptr ? unknownPredicate(call.word, operands.references != nullptr)
                                                  : tavik::call(*call.operation, operands, kernel_.platform());
  if (call.expectedText && judgement.expected.is(call.operation->phrase, operands.value)) {
    judgement.expected.setText(*call.expectedText);
  }
  if (notes_ != nullptr) note(judgement);
  return judgement;
}

Judgement RuleRun::combine(const PreparedRule& rule, Judgement left, const Operands& operands) {
  if (rule.combination == Operator::kNot) return negated(std::move(left));
  return combined(rule.combination, std::move(left), judge(*rule.secondCall, operands));
}

void RuleRun::forward(const Value& value) const {
  const Dictionary* attributes = value.ifDictionary();
  Dictionary* station = context_.station;
  if (station == nullptr || attributes == nullptr) return;
  station->reserve(station->size() + 2);  // so that both are stored or, if memory runs out, neither
  station->setOrRemove("OnFail", attributes->find("OnFail"));
  station->setOrRemove("OnPass", attributes->find("OnPass"));
}

void RuleRun::note(const PreparedRule& rule, const Value* attribute) {
  notes_->wantsAbsence = rule.wantsAbsence;
  notes_->attribute = {stringOf(rule.attribute), std::nullopt, copyOf(attribute)};
  if (rule.wantsAbsence) return;
  notes_->firstReferenceIsValue = rule.takesValueFromReference;
  notes_->value = copyOf(rule.value);
  notes_->combination = rule.combination;
  if (rule.errorCode != 0) return;
  for (const PreparedCall* call :
       {static_cast<const PreparedCall*>(&rule.call), static_cast<const PreparedCall*>(rule.secondCall.get())}) {
    if (call == nullptr) continue;
    notes_->calls.push_back({.word = std::string(call->word),
                             .withReferences = rule.callsWithReferences(),
                             .isKnown = call->operation != nullptr});
  }
}

void RuleRun::note(const Value* name, const Value* source, const Value* value) {
  notes_->references.push_back(
      {stringOf(name), source == nullptr ? std::nullopt : std::optional(description(source)), copyOf(value)});
}

void RuleRun::note(const Judgement& judgement) {
  const auto call = std::ranges::find_if(notes_->calls, [](const auto& noted) { return !noted.record; });
  call->record = Value(Judgement(judgement).record());
}

}  // namespace tavik
