// Judgements: their records, their texts, and their combination by NOT, AND and OR.

#include "kernel_algorithms/Judgement.h"

#include <stdexcept>
#include <string>

#include "values/Description.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

using detail::Entries;
using detail::SlabCutter;
using detail::SmallDictionary;
using detail::ValueAccess;
using Operator = PredicateExpression::Operator;

Value dataAfter(std::string_view words, const Data& data, SlabCutter* slabs) {
  Value text;
  char* to = ValueAccess::makeString(text, words.size() + descriptionSize(data), slabs);
  putDescription(std::ranges::copy(words, to).out, data);
  return text;
}

Value textAfter(std::string_view words, const Value* value, SlabCutter* slabs) {
  if (const auto text = textOf(value)) return ValueAccess::joined({words, *text}, slabs);
  const auto integer = value == nullptr ? std::nullopt : value->ifInteger();
  if (integer) return ValueAccess::joined({words, IntegerText(*integer).view()}, slabs);
  if (const Data* data = dataOf(value)) return dataAfter(words, *data, slabs);
  TextBuffer text;
  appendDescription(text, value);
  return ValueAccess::joined({words, text.view()}, slabs);
}

// A value that is not an array counts as one element, an absent value as none.
Value listAfter(std::string_view words, const Value* list, std::string_view between, SlabCutter* slabs) {
  TextBuffer text;
  text.append(words);
  if (const Array* array = arrayOf(list)) {
    appendElements(text, *array, between);
  } else if (list != nullptr) {
    appendDescription(text, list);
  }
  return ValueAccess::string(text.view(), slabs);
}

// A value that is not an array has no elements.
Value afterEach(std::string_view words, const Value* list, std::string_view end, SlabCutter* slabs) {
  TextBuffer text;
  for (const Value& element : elementsOf(arrayOf(list))) {
    text.append(words);
    appendDescription(text, &element);
    text.append(end);
  }
  return ValueAccess::string(text.view(), slabs);
}

Value maskAfter(std::string_view words, const Value* value, std::string_view between, SlabCutter* slabs) {
  TextBuffer text;
  text.append(words);
  appendDescription(text, find(dictionaryOf(value), "Mask"));
  text.append(between);
  appendDescription(text, find(dictionaryOf(value), "Result"));
  return ValueAccess::string(text.view(), slabs);
}

Dictionary makeRecord(bool result, Value actual, Value expected, const Value* attributes) {
  constexpr std::size_t kMostEntries = 5;  // with "rule" and "attributes"
  SmallDictionary record(Entries::make(kMostEntries));
  record.add("result", Value(result));
  record.add("actual", std::move(actual));
  record.add("expected", std::move(expected));
  if (attributes != nullptr) record.add("attributes", Value(*attributes));
  return ValueAccess::dictionary(record.take());
}

constexpr Phrase kNot = {"not "};
constexpr Phrase kNoAttribute = {"no attribute "};

Value joined(const Value& left, std::string_view word, const Value& right, SlabCutter* slabs) {
  const auto leftText = left.ifString();
  const auto rightText = right.ifString();
  if (leftText && rightText) return ValueAccess::joined({*leftText, word, *rightText}, slabs);
  TextBuffer text;
  appendDescription(text, &left);
  text.append(word);
  appendDescription(text, &right);
  return ValueAccess::string(text.view(), slabs);
}

}  // namespace

Value Phrase::of(const Value* value, SlabCutter* slabs) const {
  if (about == About::kElements) return listAfter(words, value, between, slabs);
  if (about == About::kEach) return afterEach(words, value, between, slabs);
  if (about == About::kMask) return maskAfter(words, value, between, slabs);
  return textAfter(words, value, slabs);
}

Dictionary Judgement::record() && {
  return makeRecord(result, std::move(actual), std::move(expected).text(), attributes);
}

Value combinedExpectation(Operator combination, const Value& left, const Value* right, SlabCutter* slabs) {
  if (right == nullptr) return kNot.of(&left, slabs);
  return joined(left, combination == Operator::kAnd ? " and " : " or ", *right, slabs);
}

void negate(Judgement& judgement, const CombinedTexts& texts) {
  judgement.result = !judgement.result;
  if (!texts.makesExpected) return;
  const Value text = std::move(judgement.expected).text(texts.slabs);
  judgement.expected = combinedExpectation(Operator::kNot, text, nullptr, texts.slabs);
}

void combine(Judgement& left, Operator combination, Judgement&& right, const CombinedTexts& texts) {
  left.attributes = nullptr;
  if (texts.makesExpected) {
    const Value leftText = std::move(left.expected).text(texts.slabs);
    const Value rightText = std::move(right.expected).text(texts.slabs);
    left.expected = combinedExpectation(combination, leftText, &rightText, texts.slabs);
  }
  if (combination == Operator::kAnd) {
    left.result = left.result && right.result;
    left.actual = joined(left.actual, " and ", right.actual, texts.slabs);
  } else {  // OR never shows the right "actual", by design
    left.result = left.result || right.result;
    if (!left.actual.isString()) left.actual = descriptionValue(&left.actual, texts.slabs);
  }
}

Judgement judgeAbsence(const Dictionary& attributes, const Value* name, SlabCutter* slabs) {
  Value expected = kNoAttribute.of(name, slabs);
  if (find(&attributes, name) == nullptr) return {true, expected, expected};
  return {false, formattedValue("attribute %@ exists", {name}), std::move(expected)};
}

Judgement unknownPredicate(std::string_view word, bool withReferences) {
  const std::string_view form = withReferences ? ":references:value:" : ":value:";
  return {false, formattedValue("unknown predicate %@%@", {word, form}), "valid predicate name"};
}

Dictionary recordOf(bool result, const Value* actual, const Value* expected) {
  return makeRecord(result, present(actual, "actual"), present(expected, "expected"), nullptr);
}

void refuseAbsent(const char* key) {
  throw std::invalid_argument(std::string("cannot make a record without \"") + key + '"');
}

Value descriptionValue(const Value* value, SlabCutter* slabs) {
  return value != nullptr && value->isString() ? ValueAccess::copied(*value, slabs) : textAfter({}, value, slabs);
}

}  // namespace tavik
