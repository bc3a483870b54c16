// Description builders: "actual" and "expected" of a predicate without its result.

#include <tavik/ZRTTavikKernel.h>

#include "kernel_algorithms/Predicates.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using predicates::kElements;

Dictionary descriptionOf(Value actual, Value expected) {
  Dictionary result;
  result.set("actual", std::move(actual));
  result.set("expected", std::move(expected));
  return result;
}

}  // namespace

Dictionary ZRTTavikKernel::valueInListDescription(const Value* attribute, const Value* expected) {
  return descriptionOf(kElements.of(attribute), formattedValue("among %@", {kElements.of(expected)}));
}

Dictionary ZRTTavikKernel::nandSizeCheckDescription(const Dictionary& attributes, const Value* expected) {
  const Value* serialNumber = attributes.find("SerialNumber");
  const auto code = parseCCCCode(serialNumber);
  const Value* codeValue = code ? &*code : serialNumber;
  const Value* size = code ? find(dictionaryOf(expected), codeValue) : nullptr;
  if (size == nullptr) return descriptionOf(formattedValue("unknowned CCC code %@", {codeValue}), "a known CCC code");
  const std::int32_t gigabytes = parseNandSize(attributes.find("TotalDiskCapacity"));
  return descriptionOf(formattedValue("CCC=%@; NAND size=%d", {codeValue, gigabytes}), *size);
}

Dictionary ZRTTavikKernel::nvramWhiteListDescription(const Value* attribute, const Value* expected) {
  const Dictionary* variables = dictionaryOf(attribute);
  const Value names(variables == nullptr ? Array() : detail::ValueAccess::keys(*variables));
  return descriptionOf(formattedValue("actual keys: %@", {variables == nullptr ? attribute : &names}),
                       formattedValue("allowed keys: %@", {expected}));
}

}  // namespace tavik
