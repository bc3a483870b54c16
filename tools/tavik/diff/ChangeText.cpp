#include "diff/ChangeText.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_map>

#include "check/Outcome.h"
#include "io/Json.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kWidestInline = 44;

std::string labelOf(std::string_view key) {
  if (key == "value") return "expected value";
  if (key == "hideResult") return "hidden";
  return std::string(key);
}

/// An entry's value with its kind visible, and where it is defined.
std::string shown(const Value* value, std::string_view from) {
  if (value == nullptr) return "none";
  const std::string text = visible(toJson(*value));
  return from.empty() ? text : fmt::format("{} ({})", text, originText(from));
}

/// The differences between two values, in lines: elements of lists, entries of dictionaries, whole values otherwise.
class ValueDifference {
 public:
  ValueDifference(std::string path, const Value& before, const Value& after) {
    compare(std::move(path), before, after);
  }
  [[nodiscard]] const std::vector<std::string>& lines() const noexcept { return lines_; }

 private:
  void compare(std::string path, const Value& before, const Value& after) {
    if (before.ifDictionary() != nullptr && after.ifDictionary() != nullptr) {
      compareEntries(path, *before.ifDictionary(), *after.ifDictionary());
    } else if (before.ifArray() != nullptr && after.ifArray() != nullptr) {
      compareElements(path, *before.ifArray(), *after.ifArray());
    } else {
      lines_.push_back(fmt::format("{}: {} -> {}", path, shown(&before, ""), shown(&after, "")));
    }
  }

  void compareEntries(const std::string& path, const Dictionary& before, const Dictionary& after) {
    for (const auto [key, value] : before) {
      const Value* const now = after.find(key);
      const std::string entry = fmt::format("{}, \"{}\"", path, visible(key));
      if (now == nullptr) {
        lines_.push_back(fmt::format("{}: without {}", entry, shown(&value, "")));
      } else if (value != *now) {
        compare(entry, value, *now);
      }
    }
    for (const auto [key, value] : after) {
      if (before.contains(key)) continue;
      lines_.push_back(fmt::format("{}, \"{}\": with {}", path, visible(key), shown(&value, "")));
    }
  }

  void compareElements(const std::string& path, const Array& before, const Array& after) {
    const std::string gone = elementsBeyond(before, after);
    const std::string added = elementsBeyond(after, before);
    if (!gone.empty()) lines_.push_back(fmt::format("{}: without {}", path, gone));
    if (!added.empty()) lines_.push_back(fmt::format("{}: with {}", path, added));
    if (gone.empty() && added.empty()) lines_.push_back(path + ": different order");
  }

  /// The elements of a list that the other one lacks, counting duplicates.
  static std::string elementsBeyond(const Array& list, const Array& other) {
    std::unordered_map<std::string, std::size_t> there;
    for (const Value& element : other) ++there[toJson(element)];
    std::string text;
    for (const Value& element : list) {
      std::size_t& count = there[toJson(element)];
      if (count > 0) {
        --count;
      } else {
        text += (text.empty() ? "" : ", ") + shown(&element, "");
      }
    }
    return text;
  }

  std::vector<std::string> lines_;
};

/// An entry of a rule, old and new: side by side if they are short, otherwise their differences.
std::vector<std::string> entryTexts(std::string_view key, const RuleChange& change) {
  const bool isValue = key == "value";
  const Value* const before = change.before.find(key);
  const Value* const after = change.after.find(key);
  const std::string was = shown(before, isValue ? change.valueFromBefore : "");
  const std::string is = shown(after, isValue ? change.valueFromAfter : "");
  if (displayWidth(was) <= kWidestInline && displayWidth(is) <= kWidestInline) {
    return {fmt::format("{}: {} -> {}", labelOf(key), was, is)};
  }
  if (before == nullptr || after == nullptr) {
    return {fmt::format("{}, old: {}", labelOf(key), was), fmt::format("{}, new: {}", labelOf(key), is)};
  }
  std::vector<std::string> lines = ValueDifference(labelOf(key), *before, *after).lines();
  if (change.valueFromBefore != change.valueFromAfter) {
    lines.push_back(fmt::format("{}: of {} -> of {}", labelOf(key), originText(change.valueFromBefore),
                                originText(change.valueFromAfter)));
  }
  return lines;
}

std::vector<std::string> changedEntries(const RuleChange& change) {
  std::vector<std::string> texts;
  const auto add = [&](std::string_view key) { std::ranges::copy(entryTexts(key, change), std::back_inserter(texts)); };
  for (const auto [key, value] : change.before) add(key);
  for (const auto [key, value] : change.after) {
    if (!change.before.contains(key)) add(key);
  }
  return texts;
}

std::string referencesText(const Value& references) {
  if (references.ifArray() == nullptr) return shown(&references, "");
  std::string text;
  for (const Value& element : *references.ifArray()) {
    const Dictionary* const reference = element.ifDictionary();
    const Value* const name = reference == nullptr ? nullptr : reference->find("attribute");
    const Value* const source = reference == nullptr ? nullptr : reference->find("source");
    text += fmt::format("{}{} from {}", text.empty() ? "" : ", ", name == nullptr ? "its attribute" : lineOf(name),
                        source == nullptr ? "the device" : lineOf(source));
  }
  return text;
}

/// The contents of a gained rule.
std::vector<std::string> wholeRule(const Dictionary& rule, std::string_view valueFrom) {
  std::string text;
  const auto add = [&](std::string_view key, const std::string& entry) {
    if (rule.contains(key)) text += (text.empty() ? "" : "  ") + entry;
  };
  add("attribute", lineOf(rule.find("attribute")));
  add("predicate", lineOf(rule.find("predicate")));
  add("value", shown(rule.find("value"), valueFrom));
  if (const Value* references = rule.find("references")) add("references", "with " + referencesText(*references));
  return text.empty() ? std::vector<std::string>() : std::vector{text};
}

/// The rules of a list, one after the other.
std::string namesIn(const Dictionary& entries) {
  std::string text;
  for (const Value& name : *entries.findArray("rules")) text += (text.empty() ? "" : ", ") + lineOf(&name);
  return text;
}

}  // namespace

ChangeText textOf(const RuleChange& change) {
  const std::string rule = visible(change.rule);
  switch (change.category) {
    case RuleChange::Category::kGained:
      return {"gained", rule, wholeRule(change.after, change.valueFromAfter)};
    case RuleChange::Category::kLost:
      return {"lost", rule};
    case RuleChange::Category::kChanged:
      return {"changed", rule, changedEntries(change)};
    case RuleChange::Category::kForwards:
      return {"order",
              "the last of these rules to forward attributes takes effect",
              {"old: " + namesIn(change.before), "new: " + namesIn(change.after)}};
    case RuleChange::Category::kAccepted:
      return {"accepted", "got no rules: " + lineOf(change.before.find("reason"))};
    case RuleChange::Category::kRefused:
      return {"refused", "no longer get rules: " + lineOf(change.after.find("reason"))};
    case RuleChange::Category::kRefusal:
      break;
  }
  return {"refused",
          "get no rules, for a different reason",
          {"old: " + lineOf(change.before.find("reason")), "new: " + lineOf(change.after.find("reason"))}};
}

std::string verdictText(const CheckOutcome& outcome) {
  if (!outcome.reason) return outcome.verdict == Verdict::kPassed ? "passed" : "FAILED";
  return (outcome.fault ? "fault: " : "no verdict: ") + visible(outcome.reason->text());
}

std::string recordText(const std::optional<Value>& record) {
  if (!record) return "not checked";
  const Dictionary& entries = *record->ifDictionary();
  std::string text = fmt::format("{}  actual {}, expected {}", passed(*record) ? "pass" : "FAIL",
                                 lineOf(entries.find("actual")), lineOf(entries.find("expected")));
  if (const Value* forwarded = entries.find("attributes")) text += ", forwards " + visible(toJson(*forwarded));
  return text + (entries.contains("hideResult") ? ", hidden" : "");
}

}  // namespace tavik::tool
