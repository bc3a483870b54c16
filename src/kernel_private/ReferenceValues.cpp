// Records for missing attributes, and lists as text.

#include <tavik/ZRTTavikKernel.h>

#include "values/Description.h"
#include "values/Format.h"

namespace tavik {

void ZRTTavikKernel::buildResultForGetAttributeError(const Value* attribute, std::string_view ruleName,
                                                     std::string_view sourceName, Dictionary& ruleResult) {
  ruleResult.set("rule", ruleName);
  ruleResult.set("result", Value(false));
  ruleResult.set("actual", formattedValue("attribute %@ not found from %@!", {attribute, sourceName}));
  ruleResult.set("expected", "N/A");
}

std::string ZRTTavikKernel::arrayToString(const Array* array, std::string_view delineator) {
  TextBuffer text;
  if (array != nullptr) appendElements(text, *array, delineator);
  return std::string(text.view());
}

}  // namespace tavik
