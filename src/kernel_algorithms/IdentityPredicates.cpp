// Identity codes in serial numbers and the predicates that compare them; part number and region.

#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <stdexcept>

#include "kernel_algorithms/Predicates.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

[[noreturn]] void tooShort(std::string_view serialNumber, std::string_view code) {
  throw std::out_of_range(faultMessage("serial number %@ is too short for its %@ code", {serialNumber, code}));
}

// The last `count` characters; absent if there is no serial number.
std::optional<Value> cutFromEnd(const Value* serialNumber, std::size_t count, std::string_view code) {
  const auto text = textOf(serialNumber);
  if (!text) return std::nullopt;
  const auto offset = offsetFromEnd(*text, count);
  if (!offset) tooShort(*text, code);
  return ValueAccess::string(text->substr(*offset));
}

// `count` characters from `start`; absent if there is no serial number.
std::optional<Value> cutFromStart(const Value* serialNumber, std::size_t start, std::size_t count,
                                  std::string_view code) {
  const auto text = textOf(serialNumber);
  if (!text) return std::nullopt;
  const auto begin = offsetFromStart(*text, start);
  const auto end = offsetFromStart(*text, start + count);
  if (!end) tooShort(*text, code);
  return ValueAccess::string(text->substr(*begin, *end - *begin));
}

// The value to compare: the code, or the attribute itself if it has none because of its kind.
const Value* judged(const std::optional<Value>& code, const Value* attribute) { return code ? &*code : attribute; }

// Compares a code with text.
Judgement judgeCode(const std::optional<Value>& code, const Operands& operands) {
  return predicates::caseInsensitiveEqual({judged(code, operands.attribute), nullptr, operands.value});
}

// Compares a code with a list of strings.
Judgement judgeCodeInList(const std::optional<Value>& code, const Operands& operands) {
  const Array* list = arrayOf(operands.value);
  const auto matches = [&](const Value& element) {
    const auto text = element.ifString();
    return text && equalIgnoringCase(*code->ifString(), *text);
  };
  return {code && list != nullptr && std::ranges::any_of(*list, matches),
          present(judged(code, operands.attribute)),
          {predicates::kElements, operands.value}};
}

bool sameText(const Value* left, const Value* right) {
  const auto text = textOf(left);
  return text && text == textOf(right);
}

// The region code: the part of the region information before the first "/".
std::optional<std::string_view> regionCode(const Dictionary* references) {
  const auto region = textOf(find(references, "RegionInfo"));
  return region ? std::optional(region->substr(0, region->find('/'))) : std::nullopt;
}

}  // namespace

std::optional<Value> ZRTTavikKernel::parseCCCCode(const Value* serialNumber) {
  return cutFromEnd(serialNumber, 3, "CCC");
}

std::optional<Value> ZRTTavikKernel::parse4CCode(const Value* serialNumber) {
  return cutFromEnd(serialNumber, 4, "4C");
}

std::optional<Value> ZRTTavikKernel::parseEEECode(const Value* serialNumber) {
  return cutFromStart(serialNumber, 9, 3, "EEE");
}

std::optional<Value> ZRTTavikKernel::parse4ECode(const Value* serialNumber) {
  return cutFromStart(serialNumber, 11, 4, "4E");
}

namespace predicates {

Judgement MPNCCCCheck(const Operands& operands) {
  return judgeCode(ZRTTavikKernel::parseCCCCode(operands.attribute), operands);
}

Judgement MPN4CCheck(const Operands& operands) {
  return judgeCode(ZRTTavikKernel::parse4CCode(operands.attribute), operands);
}

Judgement MPN4ECheck(const Operands& operands) {
  return judgeCode(ZRTTavikKernel::parse4ECode(operands.attribute), operands);
}

Judgement MPN4CListCheck(const Operands& operands) {
  return judgeCodeInList(ZRTTavikKernel::parse4CCode(operands.attribute), operands);
}

Judgement MPN4EListCheck(const Operands& operands) {
  return judgeCodeInList(ZRTTavikKernel::parse4ECode(operands.attribute), operands);
}

Judgement combinedMPNRCCheck(const Operands& operands) {
  const Dictionary* references = operands.references;
  const Value* model = find(references, "ModelNumber");
  const Value* region = find(references, "RegionInfo");
  const Value* partNumber = find(references, "mpn");
  const Value* code = find(references, "region_code");
  Value expected = formattedValue("(%@ = %@ and %@ = %@) or (%@ = [%@ + %@])",
                                  {model, partNumber, region, code, partNumber, model, region});
  if (model == nullptr || region == nullptr || partNumber == nullptr || code == nullptr) {
    const Value all = references == nullptr ? Value("(null)") : Value(*references);
    return {false, formattedValue("attribute not found, %@", {all}), std::move(expected)};
  }
  if (sameText(model, partNumber) && sameText(region, code)) {
    return {true, formattedValue("%@ = %@ and %@ = %@", {model, partNumber, region, code}), std::move(expected)};
  }
  const Value joined = formattedValue("%@%@", {model, region});
  const auto regionText = textOf(region);
  const auto codeText = textOf(code);
  if (textOf(model) && regionText && codeText && sameText(partNumber, &joined) && beginsWith(*regionText, *codeText)) {
    return {true, formattedValue("%@ = [%@ + %@]", {partNumber, model, region}), std::move(expected)};
  }
  return {false,
          formattedValue("Device MPN: %@, Device RC: %@, SFC MPN: %@, SFC RC: %@", {model, region, partNumber, code}),
          std::move(expected)};
}

Judgement swbhRegionMatch(const Operands& operands) {
  const auto& [attribute, references, value, slabs] = operands;
  const auto region = regionCode(references);
  const Value regionValue = region ? ValueAccess::string(*region) : descriptionValue(find(references, "RegionInfo"));
  const Value actual = descriptionValue(attribute);
  const Dictionary* common = dictionaryOf(find(dictionaryOf(value), "nospecial"));
  const Array* countries = arrayOf(find(common, "countryList"));
  if (region && countries != nullptr && countries->contains(regionValue)) {
    return caseInsensitiveEqual({&actual, nullptr, find(common, "behavior")});
  }
  const Dictionary* special = dictionaryOf(find(dictionaryOf(value), "special"));
  const Value* behavior = region && special != nullptr ? special->find(*region) : nullptr;
  if (behavior == nullptr) {
    return {false, formattedValue("unknown region code %@", {regionValue}), "known region code"};
  }
  return caseInsensitiveEqual({&actual, nullptr, behavior});
}

}  // namespace predicates

}  // namespace tavik
