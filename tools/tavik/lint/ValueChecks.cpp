// The checks of expected values: whether a required value is missing, and whether anything can pass with it.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "lint/Check.h"
#include "lint/RuleForms.h"
#include "lint/ValuePart.h"
#include "rules/NearbyValues.h"
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
        rule.ownPlace(),
        {fmt::format("\"{}\" has no expected value, neither in the library nor in this entry.", operand.word),
         rule.consequence(operand, forecast), "Add a \"value\" to the entry or to the library's definition."});
  }
}

void comparesWithNothing(const Rule& rule, Reporter& reporter) {
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.lacksValue(operand)) continue;
    const Without without = operand.facts->withoutValue;
    if (without != Without::kComparesWithZero && without != Without::kComparesWithFalse) continue;
    reporter.atKey(
        rule.ownPlace(),
        {fmt::format("\"{}\" has no expected value, neither in the library nor in this entry.", operand.word),
         fmt::format("It compares with {}.", without == Without::kComparesWithZero ? "0" : "false"),
         "Write the value explicitly, even if it is that one."});
  }
}

void unusedValue(const Rule& rule, Reporter& reporter) {
  if (!rule.value()) return;
  const auto ignores = [&](const Rule::Operand& operand) {
    return rule.isCalled(operand) && operand.facts->withoutValue == Without::kSame;
  };
  if (!std::ranges::all_of(rule.operands(), ignores) || rule.isMalformed()) return;
  reporter.atKey(*rule.value(),
                 {rule.wantsAbsence() ? std::string("A \"No Attribute\" rule has a value.")
                                      : fmt::format("{} does not use a value.", shown(*rule.expression())),
                  "It is never compared.", "Remove it, or use a predicate that compares values."});
}

void wrongKind(const ValuePart& part, Reporter& reporter) {
  const std::string what = wrongKindOf(part);
  const bool passedOver = part.facts.otherKind == ValueFacts::OtherKind::kPassedOver;
  if (what.empty() || (!part.alone && !passedOver)) return;
  reporter.at(part.place,
              {what, passedOver ? "It counts as missing." : part.rule.consequence(part.operand, Forecast::kFails),
               "Write a value of that kind."});
}

void emptyValue(const ValuePart& part, Reporter& reporter) {
  const std::string what = emptinessOf(part);
  if (what.empty() || !part.alone) return;
  const std::string effect =
      part.facts.empty == Empty::kPassesEmptyAlone
          ? fmt::format("\"{}\" passes only if the attribute is empty too.", part.operand.word)
          : part.rule.consequence(part.operand,
                                  part.facts.empty == Empty::kPassesAlways ? Forecast::kPasses : Forecast::kFails);
  reporter.at(part.place, {what, effect, "Fill it in or remove the rule."});
}

void impossibleText(const ValuePart& part, Reporter& reporter) {
  const std::string what = impossibilityOf(part);
  if (what.empty() || !part.alone) return;
  reporter.at(part.place,
              {what, part.rule.consequence(part.operand, Forecast::kFails), "Write it as the device reports it."});
}

void deadElement(const ValuePart& part, Reporter& reporter) {
  if (part.alone) return;
  const bool passedOver = part.facts.otherKind == ValueFacts::OtherKind::kPassedOver;
  std::string what = passedOver ? "" : wrongKindOf(part);
  if (what.empty()) what = emptinessOf(part);
  if (what.empty()) what = impossibilityOf(part);
  if (what.empty()) return;
  reporter.at(part.place, {what, "It never matches a device; the rest of the value counts.", "Fix or remove it."});
}

/// The rest of a string after white space, a sign and the digits of an integer; absent if there are no digits.
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

/// The value that is read if it differs from the one that is written; empty if they agree.
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

void misreadValue(const ValuePart& part, Reporter& reporter) {
  if (part.isKey || !part.facts.kinds.contains(part.place.value().kind())) return;
  const std::string read = misreadAs(part.facts, part.place.value());
  if (read.empty()) return;
  reporter.at(part.place,
              {fmt::format("{} is read as {}.", shown(part.place.value()), read),
               fmt::format("\"{}\" compares with that.", part.operand.word), "Write the intended value plainly."});
}

bool isBeyond(const Value& value, ReadAs readAs) {
  if (readAs == ReadAs::kInteger) return longValue(&value) != integerValue(&value);
  constexpr double kBeyondLong = 9223372036854775808.0;
  return readAs == ReadAs::kLong && !value.ifInteger() && std::abs(doubleValue(&value)) >= kBeyondLong;
}

void numberBeyondRange(const ValuePart& part, Reporter& reporter) {
  const Value& value = part.place.value();
  if (part.facts.numberLimit != 0 || part.isKey || !isBeyond(value, part.facts.readAs)) return;
  const bool isInteger = part.facts.readAs == ReadAs::kInteger;
  reporter.at(part.place, {fmt::format("{} does not fit in the {} bits that \"{}\" compares.", shown(value),
                                       isInteger ? 32 : 64, part.operand.word),
                           fmt::format("It is read as {}, and so is every larger number from a device.",
                                       isInteger ? std::int64_t{integerValue(&value)} : longValue(&value)),
                           part.operand.word == "equal" ? "Use \"equalLong\", which compares 64 bits."
                                                        : "Write a smaller number."});
}

void numberOutOfRange(const ValuePart& part, Reporter& reporter) {
  const std::int32_t limit = part.facts.numberLimit;
  if (limit == 0 || !part.facts.kinds.contains(part.place.value().kind())) return;
  const std::int32_t number = integerValue(&part.place.value());
  if (number >= 0 && number < limit) return;
  reporter.at(part.place, {fmt::format("Invalid {} {}: the valid numbers are 0 to {}.", part.facts.role,
                                       shown(part.place.value()), limit - 1),
                           part.rule.consequence(part.operand, Forecast::kFault), "Use a valid number."});
}

/// The effect on devices without an entry of a value.
std::string effectWithout(const EntryFacts& entry, const ValuePart& part) {
  const Forecast forecast = forecastOf(entry.without);
  if (part.operand.facts->forwards) {
    return forecast == Forecast::kFault
               ? "A fault ends the check of every device that it applies to: no rule gets a record."
               : "Every device counts as a match.";
  }
  if (part.alone) return part.rule.consequence(part.operand, forecast);
  return forecast == Forecast::kFails ? "It never matches a device; the rest of the value counts."
                                      : "All devices that it applies to pass.";
}

void missingEntry(const ValuePart& part, Reporter& reporter) {
  const Dictionary* dictionary = part.place.value().ifDictionary();
  if (dictionary == nullptr || part.isKey || (dictionary->empty() && part.facts.empty != Empty::kOrdinary)) return;
  for (const EntryFacts& entry : part.facts.entries) {
    if (entry.without == Without::kSame || dictionary->contains(entry.key)) continue;
    reporter.at(part.place, {fmt::format("The value of \"{}\" has no \"{}\".", part.operand.word, entry.key),
                             effectWithout(entry, part), "Add it."});
  }
}

bool hasBitsOutside(const Data& mask, const Data& result) {
  for (std::size_t i = 0; i < mask.size(); ++i) {
    if ((result.bytes()[i] & ~mask.bytes()[i]) != 0) return true;
  }
  return false;
}

void maskMismatch(const ValuePart& part, Reporter& reporter) {
  const Dictionary* dictionary = part.facts.isMask ? part.place.value().ifDictionary() : nullptr;
  if (dictionary == nullptr) return;
  const Data* mask = dictionary->findData("Mask");
  const Data* result = dictionary->findData("Result");
  if (mask == nullptr || result == nullptr) return;
  std::string what;
  if (mask->size() != result->size()) {
    what = fmt::format("\"Mask\" has {} bytes, but \"Result\" has {}.", mask->size(), result->size());
  } else if (hasBitsOutside(*mask, *result)) {
    what = "\"Result\" has a bit that \"Mask\" clears.";
  } else {
    return;
  }
  reporter.at(part.place, {what, part.rule.consequence(part.operand, Forecast::kFails),
                           "Make both as long as the attribute, and set only bits of the mask."});
}

/// Such a text may be the description of a number.
bool isShortNumber(std::string_view text) {
  constexpr std::size_t kShort = 8;
  return text.size() < kShort && !text.starts_with('0') &&
         text.find_first_not_of("0123456789") == std::string_view::npos;
}

void dataNotation(const ValuePart& part, Reporter& reporter) {
  const auto text = part.operand.word == "equalData" ? part.text() : std::nullopt;
  const auto data = text && !isShortNumber(*text) ? describedData(*text) : std::nullopt;
  if (!data || data->size() == 0) return;
  const Value value(*data);
  const std::string expected = description(&value);
  if (lowerCase(*text) == expected) return;
  reporter.at(
      part.place,
      {fmt::format("\"equalData\" compares with the description of data, which is not written like {}.", shown(*text)),
       part.rule.consequence(part.operand, Forecast::kFails),
       fmt::format("Write {}, with a blank after every four bytes, or use \"caseInsensitiveEqualData\".",
                   shown(expected))});
}

void impossibleCombination(const Rule& rule, Reporter& reporter) {
  if (rule.combination() != Rule::Operator::kAnd || rule.hasReferences() || !rule.value()) return;
  const Value* value = &rule.value()->value();
  RuleForms forms;
  for (const Rule::Operand& operand : rule.operands()) {
    const RuleForm& form = forms.of(operand.word, value);
    if (!form.isUnderstood() || forms.isImpossible(form)) return;
  }
  const std::string_view left = rule.operands()[0].word;
  const std::string_view right = rule.operands()[1].word;
  if (forms.between(forms.of(left, value), forms.of(right, value)) != Relation::kContradiction) return;
  reporter.at(*rule.value(),
              {fmt::format("No attribute passes both \"{}\" and \"{}\" with {}.", left, right, shown(*value)),
               rule.sentence(Forecast::kFails), "Correct the value, or write two rules."});
}

constexpr Check kChecks[] = {
    {.name = "compares-with-nothing", .severity = Severity::kWarning, .ofRule = comparesWithNothing},
    {.name = "data-notation", .severity = Severity::kWarning, .ofPart = dataNotation},
    {.name = "dead-element", .severity = Severity::kWarning, .ofPart = deadElement},
    {.name = "empty-value", .severity = Severity::kError, .ofPart = emptyValue},
    {.name = "impossible-combination", .severity = Severity::kError, .ofRule = impossibleCombination},
    {.name = "impossible-text", .severity = Severity::kError, .ofPart = impossibleText},
    {.name = "mask-mismatch", .severity = Severity::kError, .ofPart = maskMismatch},
    {.name = "missing-entry", .severity = Severity::kError, .ofPart = missingEntry},
    {.name = "missing-value", .severity = Severity::kError, .ofRule = missingValue},
    {.name = "misread-value", .severity = Severity::kWarning, .ofPart = misreadValue},
    {.name = "number-beyond-range", .severity = Severity::kWarning, .ofPart = numberBeyondRange},
    {.name = "number-out-of-range", .severity = Severity::kError, .ofPart = numberOutOfRange},
    {.name = "unused-value", .severity = Severity::kWarning, .ofRule = unusedValue},
    {.name = "wrong-kind", .severity = Severity::kError, .ofPart = wrongKind},
};

}  // namespace

std::span<const Check> valueChecks() { return kChecks; }

}  // namespace tavik::tool::lint
