// The checks of expected values: whether there is one where there should be, and whether anything can pass with it.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "lint/Check.h"
#include "lint/ValueWalk.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

using Forecast = Rule::Forecast;
using Empty = ValueFacts::Empty;
using ReadAs = ValueFacts::ReadAs;

void missingValue(const Rule& rule, Reporter& reporter) {
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.lacksValue(operand)) continue;
    const Forecast forecast = forecastOf(operand.facts->withoutValue);
    if (forecast == Forecast::kOpen) continue;
    reporter.atKey(
        rule.ownPlace(), rule.name(),
        {fmt::format("\"{}\" has no expected value, neither from the library nor from this entry.", operand.word),
         rule.consequence(operand, forecast), "Give the entry a \"value\", or the library's definition."});
  }
}

void comparesWithNothing(const Rule& rule, Reporter& reporter) {
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.lacksValue(operand)) continue;
    const Without without = operand.facts->withoutValue;
    if (without != Without::kComparesWithZero && without != Without::kComparesWithFalse) continue;
    reporter.atKey(
        rule.ownPlace(), rule.name(),
        {fmt::format("\"{}\" has no expected value, neither from the library nor from this entry.", operand.word),
         fmt::format("It compares with {}.", without == Without::kComparesWithZero ? "0" : "false"),
         "Write the value, also where it is that one."});
  }
}

void unusedValue(const Rule& rule, Reporter& reporter) {
  if (!rule.value()) return;
  const auto ignores = [&](const Rule::Operand& operand) {
    return rule.isCalled(operand) && operand.facts->withoutValue == Without::kSame;
  };
  if (!std::ranges::all_of(rule.operands(), ignores) || rule.isMalformed()) return;
  reporter.atKey(*rule.value(), rule.name(),
                 {rule.wantsAbsence() ? std::string("A \"No Attribute\" rule has a value.")
                                      : fmt::format("{} reads no value.", shown(*rule.expression())),
                  "It is compared with nothing.", "Leave it out, or name a predicate that compares."});
}

void wrongKind(const Rule& rule, Reporter& reporter) {
  walkValues(rule, [&](const ValuePart& part) {
    const std::string what = wrongKindOf(part);
    const bool passedOver = part.facts.otherKind == ValueFacts::OtherKind::kPassedOver;
    if (what.empty() || (!part.alone && !passedOver)) return;
    reporter.at(part.place, rule.name(),
                {what, passedOver ? "It counts as not there." : rule.consequence(part.operand, Forecast::kFails),
                 "Write one of that kind."});
  });
}

void emptyValue(const Rule& rule, Reporter& reporter) {
  walkValues(rule, [&](const ValuePart& part) {
    const std::string what = emptinessOf(part);
    if (what.empty() || !part.alone) return;
    const std::string effect =
        part.facts.empty == Empty::kPassesEmptyAlone
            ? fmt::format("\"{}\" passes only for an attribute that is empty itself.", part.operand.word)
            : rule.consequence(part.operand,
                               part.facts.empty == Empty::kPassesAlways ? Forecast::kPasses : Forecast::kFails);
    reporter.at(part.place, rule.name(), {what, effect, "Fill it in, or leave the rule out."});
  });
}

void impossibleText(const Rule& rule, Reporter& reporter) {
  walkValues(rule, [&](const ValuePart& part) {
    const std::string what = impossibilityOf(part);
    if (what.empty() || !part.alone) return;
    reporter.at(part.place, rule.name(),
                {what, rule.consequence(part.operand, Forecast::kFails), "Write it as the device has it."});
  });
}

void deadElement(const Rule& rule, Reporter& reporter) {
  walkValues(rule, [&](const ValuePart& part) {
    if (part.alone) return;
    const bool passedOver = part.facts.otherKind == ValueFacts::OtherKind::kPassedOver;
    std::string what = passedOver ? "" : wrongKindOf(part);
    if (what.empty()) what = emptinessOf(part);
    if (what.empty()) what = impossibilityOf(part);
    if (what.empty()) return;
    reporter.at(part.place, rule.name(),
                {what, "No device ever passes by it; the rest of the value counts.", "Mend it, or leave it out."});
  });
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// What remains of a text behind white space, a sign and the digits of a whole number; absent when there are none.
std::optional<std::string_view> afterDigits(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n\v\f"), text.size()));
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  if (text.empty() || !isDigit(text.front())) return std::nullopt;
  text.remove_prefix(std::min(text.find_first_not_of("0123456789"), text.size()));
  return text;
}

bool isMisreadNumber(std::string_view text, ReadAs readAs) {
  const Value value(text);
  if (readAs == ReadAs::kReal && doubleValue(&value) != 0) return text.find(',') != std::string_view::npos;
  const auto rest = afterDigits(text);
  if (!rest) return longValue(&value) == 0;
  constexpr std::string_view kSeparators = ",.'_xX";
  if (rest->size() < 2 || kSeparators.find(rest->front()) == std::string_view::npos) return false;
  const char next = (*rest)[1];
  return isDigit(next) ||
         (rest->front() != '.' && std::string_view("abcdefABCDEF").find(next) != std::string_view::npos);
}

bool isMisreadTruth(std::string_view text) {
  constexpr std::string_view kWords[] = {"yes", "no", "y", "n", "true", "false", "t", "f"};
  return std::ranges::count(kWords, lowerCase(text)) == 0 && !afterDigits(text);
}

/// What is read in place of a value that says something else; empty where it is read as it stands.
std::string misreadAs(const ValueFacts& facts, const Value& value) {
  const auto text = value.ifString();
  switch (facts.readAs) {
    case ReadAs::kItself:
      return "";
    case ReadAs::kBoolean:
      return text && isMisreadTruth(*text) ? (booleanValue(&value) ? "true" : "false") : "";
    case ReadAs::kReal:
      return text && isMisreadNumber(*text, facts.readAs) ? fmt::format("{}", doubleValue(&value)) : "";
    case ReadAs::kInteger:
    case ReadAs::kLong:
      break;
  }
  const auto real = value.ifReal();
  const bool isCutOff = real && std::isfinite(*real) && *real != std::trunc(*real);
  const bool isMisread = isCutOff || (text && isMisreadNumber(*text, facts.readAs));
  return isMisread ? fmt::format("{}", longValue(&value)) : "";
}

void misreadValue(const Rule& rule, Reporter& reporter) {
  walkValues(rule, [&](const ValuePart& part) {
    if (part.isKey || !part.facts.kinds.contains(part.place.value().kind())) return;
    const std::string read = misreadAs(part.facts, part.place.value());
    if (read.empty()) return;
    reporter.at(
        part.place, rule.name(),
        {fmt::format("{} is read as {}.", shown(part.place.value()), read),
         fmt::format("\"{}\" compares with that.", part.operand.word), "Write what is meant, as a plain value."});
  });
}

bool isBeyond(const Value& value, ReadAs readAs) {
  if (readAs == ReadAs::kInteger) return longValue(&value) != integerValue(&value);
  constexpr double kBeyondLong = 9223372036854775808.0;
  return readAs == ReadAs::kLong && !value.ifInteger() && std::abs(doubleValue(&value)) >= kBeyondLong;
}

void numberBeyondRange(const Rule& rule, Reporter& reporter) {
  walkValues(rule, [&](const ValuePart& part) {
    const Value& value = part.place.value();
    if (part.facts.numberLimit != 0 || part.isKey || !isBeyond(value, part.facts.readAs)) return;
    const bool isInteger = part.facts.readAs == ReadAs::kInteger;
    reporter.at(part.place, rule.name(),
                {fmt::format("{} does not fit into the {} bits that \"{}\" compares.", shown(value),
                             isInteger ? 32 : 64, part.operand.word),
                 fmt::format("It is read as {}, and so is every greater number of a device.",
                             isInteger ? std::int64_t{integerValue(&value)} : longValue(&value)),
                 part.operand.word == "equal" ? "Name \"equalLong\", which has 64 bits." : "Write a smaller number."});
  });
}

void numberOutOfRange(const Rule& rule, Reporter& reporter) {
  walkValues(rule, [&](const ValuePart& part) {
    const std::int32_t limit = part.facts.numberLimit;
    if (limit == 0 || !part.facts.kinds.contains(part.place.value().kind())) return;
    const std::int32_t number = integerValue(&part.place.value());
    if (number >= 0 && number < limit) return;
    reporter.at(
        part.place, rule.name(),
        {fmt::format("There is no {} {}: they are 0 to {}.", part.facts.role, shown(part.place.value()), limit - 1),
         rule.consequence(part.operand, Forecast::kFault), "Write one that there is."});
  });
}

/// What becomes of devices without an entry of a value.
std::string effectWithout(const EntryFacts& entry, const ValuePart& part) {
  const Forecast forecast = forecastOf(entry.without);
  if (part.operand.facts->forwards) {
    return forecast == Forecast::kFault
               ? "A fault ends the check of every device that it is for: no rule gets a record."
               : "Every device counts as a match.";
  }
  if (part.alone) return part.rule.consequence(part.operand, forecast);
  return forecast == Forecast::kFails ? "No device ever passes by it; the rest of the value counts."
                                      : "Devices that it is for pass, whatever they say.";
}

void missingEntry(const Rule& rule, Reporter& reporter) {
  walkValues(rule, [&](const ValuePart& part) {
    const Dictionary* dictionary = part.place.value().ifDictionary();
    if (dictionary == nullptr || part.isKey || (dictionary->empty() && part.facts.empty != Empty::kOrdinary)) return;
    for (const EntryFacts& entry : part.facts.entries) {
      if (entry.without == Without::kSame || dictionary->contains(entry.key)) continue;
      reporter.at(part.place, rule.name(),
                  {fmt::format("The value of \"{}\" has no \"{}\".", part.operand.word, entry.key),
                   effectWithout(entry, part), "Give it one."});
    }
  });
}

bool hasBitsOutside(const Data& mask, const Data& result) {
  for (std::size_t i = 0; i < mask.size(); ++i) {
    if ((result.bytes()[i] & ~mask.bytes()[i]) != 0) return true;
  }
  return false;
}

void maskMismatch(const Rule& rule, Reporter& reporter) {
  walkValues(rule, [&](const ValuePart& part) {
    const Dictionary* dictionary = part.facts.isMask ? part.place.value().ifDictionary() : nullptr;
    if (dictionary == nullptr) return;
    const Data* mask = dictionary->findData("Mask");
    const Data* result = dictionary->findData("Result");
    if (mask == nullptr || result == nullptr) return;
    std::string what;
    if (mask->size() != result->size()) {
      what = fmt::format("\"Mask\" has {} bytes, and \"Result\" {}.", mask->size(), result->size());
    } else if (hasBitsOutside(*mask, *result)) {
      what = "\"Result\" has a bit that \"Mask\" takes away.";
    } else {
      return;
    }
    reporter.at(part.place, rule.name(),
                {what, rule.consequence(part.operand, Forecast::kFails),
                 "Write both as long as the attribute, and no bit that the mask lacks."});
  });
}

constexpr Check kChecks[] = {
    {.name = "compares-with-nothing",
     .severity = Severity::kWarning,
     .what = "A comparison of numbers or booleans has no expected value.",
     .why = "It compares with 0 or with false, as if that stood there. Texts that hold no number are 0 too, and equal.",
     .before = R"("Revision": {"attribute": "Revision", "predicate": "equal"})",
     .after = R"("Revision": {"attribute": "Revision", "predicate": "equal", "value": 3})",
     .ofRule = comparesWithNothing},
    {.name = "dead-element",
     .severity = Severity::kWarning,
     .what = "An element of a list, or an entry of a table, never matches.",
     .why =
         "It is of the wrong kind or length, or empty. The others still count, so the rule looks right, and fails for "
         "the devices that this one was written for.",
     .before = R"("Code": {"attribute": "SerialNumber", "predicate": "MPN4CListCheck", "value": ["7KR4", "7KR"]})",
     .after = R"("Code": {"attribute": "SerialNumber", "predicate": "MPN4CListCheck", "value": ["7KR4", "7KR5"]})",
     .ofRule = deadElement},
    {.name = "empty-value",
     .severity = Severity::kError,
     .what = "A pattern, list or table is empty.",
     .why =
         "No text begins or ends with the empty text or holds it, no code is in an empty list, so the rule fails for "
         "every device. An empty list of control bits is the other way round: there is nothing to check.",
     .before = R"("Color": {"attribute": "Color", "predicate": "valueInList", "value": []})",
     .after = R"("Color": {"attribute": "Color", "predicate": "valueInList", "value": ["sand", "slate"]})",
     .ofRule = emptyValue},
    {.name = "impossible-text",
     .severity = Severity::kError,
     .what = "A text has a length or characters that no device's has.",
     .why =
         "Codes that are cut out of serial numbers have a fixed length; bytes are spelt in hexadecimal digits without "
         "blanks or brackets; a region code is what stands before the \"/\". Any other text equals none of them, and "
         "the rule fails for every device.",
     .before = R"("Code": {"attribute": "SerialNumber", "predicate": "MPN4CCheck", "value": "7KR"})",
     .after = R"("Code": {"attribute": "SerialNumber", "predicate": "MPN4CCheck", "value": "7KR4"})",
     .ofRule = impossibleText},
    {.name = "mask-mismatch",
     .severity = Severity::kError,
     .what = "A mask and its result are of different lengths, or the result has bits that the mask lacks.",
     .why = "The masked attribute is as long as the mask and has no bit that the mask lacks, so it never equals such a "
            "result.",
     .before = R"("Header": {"attribute": "Header", "predicate": "equalMask",
            "value": {"Mask": {"$data": "/wA="}, "Result": {"$data": "Dw=="}}})",
     .after = R"("Header": {"attribute": "Header", "predicate": "equalMask",
            "value": {"Mask": {"$data": "/wA="}, "Result": {"$data": "DwA="}}})",
     .ofRule = maskMismatch},
    {.name = "missing-entry",
     .severity = Severity::kError,
     .what = "The value of a predicate lacks an entry.",
     .why =
         "Without \"Mask\" or \"Result\" nothing passes, without \"behavior\" every device of the listed regions does, "
         "and without \"countryList\" none is listed; without \"list\" every device counts as a match; and when the "
         "attributes to forward are missing, a fault "
         "ends "
         "the check.",
     .before = R"("Send": {"attribute": "RegionInfo", "predicate": "sendConditionalAttribute",
          "value": {"match": {"OnPass": "PACK-4"}, "nonMatch": {"OnPass": "PACK-2"}}})",
     .after = R"("Send": {"attribute": "RegionInfo", "predicate": "sendConditionalAttribute",
          "value": {"list": ["J/A"], "match": {"OnPass": "PACK-4"}, "nonMatch": {"OnPass": "PACK-2"}}})",
     .ofRule = missingEntry},
    {.name = "missing-value",
     .severity = Severity::kError,
     .what = "A rule has no expected value, neither from the library nor from the local entry.",
     .why = "A comparison of texts without one passes for every device, and so do `valueInList`, `nvramWhiteList` and "
            "`controlBitCheck`; most others fail for every device; for a few it is a fault.",
     .before = R"("Color": {"attribute": "Color", "predicate": "caseInsensitiveEqual"})",
     .after = R"("Color": {"attribute": "Color", "predicate": "caseInsensitiveEqual", "value": "sand"})",
     .ofRule = missingValue},
    {.name = "misread-value",
     .severity = Severity::kWarning,
     .what = "A value is not read as it stands.",
     .why = "Of a text the number at its start is read, and 0 where there is none: \"1,000\" is 1. Whole numbers lose "
            "their "
            "fraction. As a boolean, a text is true when it begins with Y, T or a digit from 1 to 9: \"on\" is false.",
     .before = R"("Locked": {"attribute": "Locked", "predicate": "boolEqual", "value": "on"})",
     .after = R"("Locked": {"attribute": "Locked", "predicate": "boolEqual", "value": true})",
     .ofRule = misreadValue},
    {.name = "number-beyond-range",
     .severity = Severity::kWarning,
     .what = "An expected number is too great for its predicate.",
     .why =
         "It becomes the greatest number of the range, and so does every number of a device that is too great: all of "
         "them are equal.",
     .before = R"("Build": {"attribute": "BuildNumber", "predicate": "equal", "value": 20261121001})",
     .after = R"("Build": {"attribute": "BuildNumber", "predicate": "equalLong", "value": 20261121001})",
     .ofRule = numberBeyondRange},
    {.name = "number-out-of-range",
     .severity = Severity::kError,
     .what = "A control bit is listed that no block has.",
     .why = "Looking it up is a fault: the check of every device ends without any records.",
     .before = R"("Stations": {"attribute": "ControlBits", "predicate": "controlBitCheck", "value": [2, 254]})",
     .after = R"("Stations": {"attribute": "ControlBits", "predicate": "controlBitCheck", "value": [2, 253]})",
     .ofRule = numberOutOfRange},
    {.name = "unused-value",
     .severity = Severity::kWarning,
     .what = "A rule has a value that none of its predicates reads.",
     .why = "Whoever wrote it meant to compare with something. The rule passes or fails whatever stands there.",
     .before = R"("Lot": {"attribute": "LotNumber", "predicate": "isUppercase", "value": "L"})",
     .after = R"("Lot": {"attribute": "LotNumber", "predicate": "isUppercase AND hasPrefix", "value": "L"})",
     .ofRule = unusedValue},
    {.name = "wrong-kind",
     .severity = Severity::kError,
     .what = "A value is of a kind that its predicate does not take.",
     .why = "The predicate fails for every device. The number 5 and the string \"5\" are different kinds, and one "
            "value is no "
            "list of one. In old-style text there are no numbers, and in JSON data is spelt {\"$data\": \"...\"}.",
     .before = R"("Color": {"attribute": "Color", "predicate": "valueInList", "value": "sand"})",
     .after = R"("Color": {"attribute": "Color", "predicate": "valueInList", "value": ["sand"]})",
     .ofRule = wrongKind},
};

}  // namespace

std::span<const Check> valueChecks() { return kChecks; }

}  // namespace tavik::tool::lint
