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

using detail::Entries;
using detail::ValueAccess;
using Operator = PredicateExpression::Operator;

std::optional<std::string> stringOf(const Value* value) {
  const auto text = textOf(value);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<Value> copyOf(const Value* value) { return value == nullptr ? std::nullopt : std::optional(*value); }

}  // namespace

bool RuleRun::add(const PreparedRule& rule) {
  Operands operands = {rule.attribute.find(context_.attributes), nullptr, rule.value, &records_.slabs()};
  if (isWatched_) begin(rule, operands.attribute);
  if (rule.wantsAbsence) return addAbsence(rule), true;
  if (operands.attribute == nullptr || rule.references != nullptr) {
    if (!complete(operands, rule)) return addMissing(rule), true;
  }
  if (rule.errorCode != 0) return refuse(rule), false;
  bool isPrepared = rule.recordHasExpected;
  Judgement judgement = judge(rule.call, operands, isPrepared);
  if (rule.combination != Operator::kNone) combine(judgement, rule, operands, isPrepared);
  const Value* const forwarded = judgement.attributes;
  addRecord(rule, std::move(judgement), isPrepared);
  if (forwarded != nullptr) forward(*forwarded);
  if (logs_) log(kernel_.platform(), "ruleResult: %@", records_.last());
  if (rule.hidesResult) records_.setInLast("hideResult", "");
  return true;
}

void RuleRun::begin(const PreparedRule& rule, const Value* attribute) {
  if (logs_) log(kernel_.platform(), "processing %@", rule.name);
  if (notes_ != nullptr) note(rule, attribute);
}

void RuleRun::refuse(const PreparedRule& rule) {
  context_.error = kernel_.handleError(rule.errorCode, format("invalid logical operator:%@", {rule.predicate}));
}

void RuleRun::addAbsence(const PreparedRule& rule) {
  log(kernel_.platform(), "No attribute rule name: %@\n", rule.name);
  Judgement judgement = judgeAbsence(context_.attributes, rule.attribute.value(), &records_.slabs());
  records_.add(rule.name, judgement.result, std::move(judgement.actual),
               std::move(judgement.expected).text(&records_.slabs()));
}

void RuleRun::addMissing(const PreparedRule& rule) {
  Dictionary record;
  const std::string source = missing_->source == nullptr ? "device" : description(missing_->source);
  ZRTTavikKernel::buildResultForGetAttributeError(missing_->name, *rule.name.ifString(), source, record);
  records_.add(std::move(record));
}

// Adds what references refer to; false if something is missing.
bool RuleRun::complete(Operands& operands, const PreparedRule& rule) {
  missing_.reset();
  if (operands.attribute == nullptr) missing_ = {rule.attribute.value(), nullptr};
  if (rule.references != nullptr && (!missing_ || notes_ != nullptr)) {
    rule.takesValueFromReference ? fetchValue(operands, rule) : fetchDictionary(operands, rule);
  }
  return !missing_;
}

// A later reference with the same name replaces an earlier one.
void RuleRun::fetchValue(Operands& operands, const PreparedRule& rule) {
  fetchReferences(rule, [&](const PreparedReference& reference, const Value& value) {
    const PreparedReference& front = rule.listed.front();
    if (&reference == &front || reference.name.isSame(front.name)) operands.value = &value;
  });
  if (missing_) return;
  if (operands.value == nullptr) throw std::out_of_range("a rule without \"value\" has no reference to take it from");
  if (notes_ != nullptr) notes_->value = *operands.value;
}

void RuleRun::fetchDictionary(Operands& operands, const PreparedRule& rule) {
  references_ = ValueAccess::dictionary(Entries::make(rule.listed.size(), &records_.slabs()));
  operands.references = &references_;
  fetchReferences(rule, [&](const PreparedReference& reference, const Value& value) {
    ValueAccess::set(references_, ValueAccess::copied(*reference.name.value(), &records_.slabs()), value);
  });
}

// Stops at the first missing reference, unless all are noted. Malformed references count as a missing attribute.
template <class Store>
void RuleRun::fetchReferences(const PreparedRule& rule, Store store) {
  bool areFound = true;
  for (const PreparedReference& reference : rule.listed) {
    const Value* value = fetch(reference);
    if (notes_ != nullptr) note(reference, value);
    if (value != nullptr) {
      store(reference, *value);
      continue;
    }
    areFound = false;
    if (!missing_) missing_ = {reference.name.value(), reference.source};
    if (notes_ == nullptr) return;
  }
  if (!areFound || !rule.referencesAreMalformed) return;
  if (notes_ != nullptr) notes_->referencesAreMalformed = true;
  if (!missing_) missing_ = {rule.attribute.value(), nullptr};
}

const Value* RuleRun::fetch(const PreparedReference& reference) const {
  const Dictionary* from = reference.from(context_.attributes, context_.sources);
  return from == nullptr ? nullptr : reference.name.find(*from);
}

inline void RuleRun::addRecord(const PreparedRule& rule, Judgement&& judgement, bool isPrepared) {
  if (isPrepared) [[likely]]
    return records_.add(*rule.record, judgement.result, std::move(judgement.actual));
  Value expected = std::move(judgement.expected).text(&records_.slabs());
  if (rule.record) {
    records_.add(*rule.record, judgement.result, std::move(judgement.actual), std::move(expected));
  } else {
    records_.add(rule.name, judgement.result, std::move(judgement.actual), std::move(expected));
  }
}

inline Judgement RuleRun::judge(const PreparedCall& call, const Operands& operands, bool& isPrepared) {
  Judgement judgement = call.operation == nullptr ? unknownPredicate(call.word, operands.references != nullptr)
                                                  : tavik::call(*call.operation, operands, kernel_.platform());
  isPrepared = isPrepared && call.operation != nullptr && judgement.expected.is(call.operation->phrase, operands.value);
  if (notes_ != nullptr) note(judgement);
  return judgement;
}

void RuleRun::combine(Judgement& left, const PreparedRule& rule, const Operands& operands, bool& isPrepared) {
  if (rule.combination == Operator::kNot) return negate(left, {operands.slabs, !isPrepared});
  Judgement right = judge(*rule.secondCall, operands, isPrepared);
  tavik::combine(left, rule.combination, std::move(right), {operands.slabs, !isPrepared});
}

// Adds attributes to the record, and what is meant for the station to its dictionary.
void RuleRun::forward(const Value& value) {
  const Value copy = ValueAccess::copiedWithEntries(value, records_.slabs());
  records_.setInLast("attributes", copy);
  const Dictionary* attributes = copy.ifDictionary();
  Dictionary* station = context_.station;
  if (station == nullptr || attributes == nullptr) return;
  records_.slabs().show();                // the host may share its dictionary when it gets a log line
  station->reserve(station->size() + 2);  // so that both are stored or, if memory runs out, neither
  station->setOrRemove("OnFail", find(attributes, "OnFail"));
  station->setOrRemove("OnPass", find(attributes, "OnPass"));
}

void RuleRun::note(const PreparedRule& rule, const Value* attribute) {
  notes_->wantsAbsence = rule.wantsAbsence;
  notes_->attribute = {stringOf(rule.attribute.value()), std::nullopt, copyOf(attribute)};
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

void RuleRun::note(const PreparedReference& reference, const Value* value) {
  const auto source = reference.source == nullptr ? std::nullopt : std::optional(description(reference.source));
  notes_->references.push_back({stringOf(reference.name.value()), source, copyOf(value)});
}

void RuleRun::note(const Judgement& judgement) {
  const auto call = std::ranges::find_if(notes_->calls, [](const auto& noted) { return !noted.record; });
  call->record = Value(Judgement(judgement).record());
}

}  // namespace tavik
