// Result making.

#include "kernel_algorithms/RuleResult.h"

#include <tavik/ZRTTavikKernel.h>

#include <stdexcept>

#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

const Value& present(const Value* value, const char* key) {
  if (value == nullptr) throw std::invalid_argument(std::string("a record cannot hold an absent \"") + key + '"');
  return *value;
}

}  // namespace

Dictionary ruleResult(bool result, Value actual, Value expected) {
  constexpr std::size_t kRoom = 4;
  Dictionary record;
  record.reserve(kRoom);
  record.set("result", Value(result));
  record.set("actual", std::move(actual));
  record.set("expected", std::move(expected));
  return record;
}

Dictionary ruleResult(bool result, const Value* actual, std::string_view expectedPattern, const Value* expected) {
  return ruleResult(result, present(actual, "actual"), formattedValue(expectedPattern, {expected}));
}

Value descriptionValue(const Value* value) { return formattedValue("%@", {value}); }

Value listText(const Value* list, std::string_view delineator) {
  const Array* array = arrayOf(list);
  if (list != nullptr && array == nullptr) return descriptionValue(list);
  return ZRTTavikKernel::arrayToString(array, delineator);
}

bool readsAsScalar(const Value* value) noexcept {
  if (value == nullptr) return true;
  const Kind kind = value->kind();
  return kind == Kind::kNumber || kind == Kind::kString || kind == Kind::kBoolean;
}

Dictionary ZRTTavikKernel::buildResult(bool result, const Value* actual, const Value* expected) {
  return ruleResult(result, present(actual, "actual"), present(expected, "expected"));
}

Dictionary ZRTTavikKernel::checkNotExist(const Dictionary& attributes, const Value* attributeName) {
  const bool exists = find(&attributes, attributeName) != nullptr;
  return ruleResult(!exists, formattedValue(exists ? "attribute %@ exists" : "no attribute %@", {attributeName}),
                    formattedValue("no attribute %@", {attributeName}));
}

}  // namespace tavik
