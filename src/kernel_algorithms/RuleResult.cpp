// Result making.

#include "kernel_algorithms/RuleResult.h"

#include <tavik/ZRTTavikKernel.h>

#include <stdexcept>

#include "kernel_algorithms/Comparison.h"
#include "values/Description.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::Entries;
using detail::SlabCutter;
using detail::SmallDictionary;
using detail::ValueAccess;

// The elements' descriptions, or that of a value that is no array; nothing when it is absent.
void appendList(TextBuffer& text, const Value* list, std::string_view delineator) {
  if (const Array* array = arrayOf(list)) return appendElements(text, *array, delineator);
  if (list != nullptr) appendDescription(text, list);
}

}  // namespace

RuleResult RuleResult::of(const Dictionary& record) {
  const Value* attributes = record.find("attributes");
  return {booleanValue(record.find("result")), present(record.find("actual"), "actual"),
          present(record.find("expected"), "expected"),
          attributes == nullptr ? std::nullopt : std::optional(*attributes)};
}

Dictionary RuleResult::record() && {
  constexpr std::size_t kMostEntries = 5;  // with "rule" and "attributes"
  SmallDictionary record(Entries::make(kMostEntries));
  record.add("result", Value(result));
  record.add("actual", std::move(actual));
  record.add("expected", std::move(expected));
  if (attributes) record.add("attributes", *std::move(attributes));
  return ValueAccess::dictionary(std::move(record).take());
}

Dictionary ruleResult(bool result, Value actual, Value expected) {
  return RuleResult(result, std::move(actual), std::move(expected)).record();
}

Dictionary Comparison::record(const Value* attribute, const Value* value) const {
  Finding finding = judge(attribute, value);
  return ruleResult(finding.result, std::move(finding.actual), expected(value, nullptr));
}

const Value& present(const Value* value, const char* key) {
  if (value == nullptr) throw std::invalid_argument(std::string("a record cannot hold an absent \"") + key + '"');
  return *value;
}

Dictionary ruleResult(bool result, const Value* actual, std::string_view expectedPattern, const Value* expected) {
  return ruleResult(result, present(actual, "actual"), formattedValue(expectedPattern, {expected}));
}

Value descriptionValue(const Value* value) {
  return value != nullptr && value->isString() ? *value : formattedValue("%@", {value});
}

Value listText(const Value* list, std::string_view delineator) { return expectedList("", list, delineator, nullptr); }

Value expectedList(std::string_view before, const Value* list, std::string_view delineator, SlabCutter* slabs) {
  TextBuffer text;
  text.append(before);
  appendList(text, list, delineator);
  return ValueAccess::joined({}, text.view(), slabs);
}

Value expectedAfter(std::string_view before, const Value* value, SlabCutter* slabs) {
  if (const auto text = textOf(value)) return ValueAccess::joined(before, *text, slabs);
  const auto integer = value == nullptr ? std::nullopt : value->ifInteger();
  if (integer) return ValueAccess::joined(before, IntegerText(*integer).view(), slabs);
  TextBuffer text;
  appendDescription(text, value);
  return ValueAccess::joined(before, text.view(), slabs);
}

Value expectedOneOf(const Value* list, SlabCutter* slabs) { return expectedList("one of ", list, ",", slabs); }

Dictionary ZRTTavikKernel::buildResult(bool result, const Value* actual, const Value* expected) {
  return ruleResult(result, present(actual, "actual"), present(expected, "expected"));
}

Dictionary ZRTTavikKernel::checkNotExist(const Dictionary& attributes, const Value* attributeName) {
  const bool exists = find(&attributes, attributeName) != nullptr;
  return ruleResult(!exists, formattedValue(exists ? "attribute %@ exists" : "no attribute %@", {attributeName}),
                    formattedValue("no attribute %@", {attributeName}));
}

}  // namespace tavik
