// An explanation for people: short lines, plain words.

#include <fmt/format.h>
#include <tavik/PredicateFacts.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "check/Outcome.h"
#include "explain/Explanation.h"
#include "io/Json.h"
#include "rules/RuleMeaning.h"
#include "text/NearestName.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kWidestValue = 32;  // in the overview, which has one line per rule

/// A value with its kind visible: "5" is not 5.
std::string shown(const Value& value) { return visible(toJson(value)); }

std::string shownName(const std::optional<std::string>& name) { return name ? visible(*name) : "(no name)"; }

std::string deviceText(const Explanation& all) {
  std::string text = all.partNumber != nullptr ? "part number " + lineOf(all.partNumber) : "no part number";
  if (all.region != nullptr) text += ", region " + lineOf(all.region);
  return text;
}

std::string layerText(const LocalEntry& entry, const Explanation& all) {
  switch (entry.layer) {
    case LocalEntry::Layer::kPartNumber:
      return "part number " + lineOf(all.partNumber);
    case LocalEntry::Layer::kRegion:
      return "region " + lineOf(all.region);
    case LocalEntry::Layer::kGeneric:
      return "GenericRules";
    case LocalEntry::Layer::kSet:
      break;
  }
  return "set " + visible(entry.set);
}

std::string layersText(const std::vector<LocalEntry>& entries, const Explanation& all) {
  std::string text;
  for (const LocalEntry& entry : entries) text += (text.empty() ? "" : ", ") + layerText(entry, all);
  return text;
}

std::string referenceText(const RuleEvaluation::Operand& reference) {
  return fmt::format("{} from {}", shownName(reference.name), visible(reference.source.value_or("the device")));
}

/// Whether a predicate would read a value that is not defined.
bool lacksValue(const RuleNote& rule, const RuleEvaluation::Call& call) {
  if (rule.rule->value() != nullptr || rule.evaluation.firstReferenceIsValue) return false;
  return call.isKnown && PredicateFacts::find(call.word)->withoutValue != Without::kSame;
}

bool lacksValue(const RuleNote& rule) {
  return std::ranges::any_of(rule.evaluation.calls,
                             [&](const RuleEvaluation::Call& call) { return lacksValue(rule, call); });
}

/// Where the expected value is defined.
std::string valueSource(const RuleNote& rule) {
  if (rule.rule->entries.back().value() != nullptr) return "local rules";
  if (rule.rule->value() != nullptr) return "library";
  if (rule.evaluation.firstReferenceIsValue) return "reference";
  return lacksValue(rule) ? "undefined" : "";
}

std::string_view withoutValue(const PredicateFacts& facts) {
  constexpr std::string_view kTexts[] = {
      "fails for every device",     "passes for every device", "compares with 0", "compares with false", "",
      "ends the check with a fault"};
  return kTexts[static_cast<std::size_t>(facts.withoutValue)];
}

std::string callsText(const RuleEvaluation& evaluation) {
  if (evaluation.wantsAbsence) return "nothing: the attribute must be missing";
  if (!evaluation.attribute.name) return "nothing: it names no attribute";
  if (evaluation.calls.empty()) return "nothing: the predicate is malformed";
  std::string first = visible(evaluation.calls.front().operation());
  const std::string_view word = PredicateExpression::word(evaluation.combination);
  if (word.empty()) return first;
  if (evaluation.calls.size() == 1) return fmt::format("{} {}", word, first);
  return fmt::format("{} {} {}", first, word, visible(evaluation.calls.back().operation()));
}

/// What happened to the values of replaced entries; one sentence per value.
std::vector<std::string> replacements(const RuleNote& rule, const Explanation& all) {
  const std::vector<LocalEntry>& entries = rule.rule->entries;
  const Value* const expected = rule.rule->value();
  std::vector<std::string> sentences;
  for (std::size_t i = 0; i + 1 < entries.size(); ++i) {
    const LocalEntry& winner = entries[i + 1];
    const Value* const lost = entries[i].value();
    std::string sentence = fmt::format("{} replaces {}", layerText(winner, all), layerText(entries[i], all));
    if (lost != nullptr) {
      sentence += fmt::format(", {} its {}", winner.value() == nullptr ? "and removes" : "with another value for",
                              shortened(shown(*lost), kWidestValue));
    }
    const bool back = i + 2 == entries.size() && lost != nullptr && winner.value() == nullptr;
    if (back && expected != nullptr) {
      sentence += fmt::format(": the library's {} applies", shortened(shown(*expected), kWidestValue));
    }
    if (back && expected == nullptr) sentence += ": no value is left";
    sentences.push_back(std::move(sentence));
  }
  return sentences;
}

std::vector<std::string> troubles(const RuleNote& rule) {
  const RuleEvaluation& evaluation = rule.evaluation;
  std::vector<std::string> all;
  if (rule.rule->definition == nullptr) all.emplace_back("the library does not define it");
  if (!evaluation.wantsAbsence && evaluation.attribute.name && evaluation.calls.empty()) {
    const Value* const predicate = rule.rule->definition->find("predicate");
    all.push_back(fmt::format("invalid logical operator:{}: ends every check that reaches it",
                              predicate != nullptr && predicate->isString() ? lineOf(predicate) : "(null)"));
  }
  for (const RuleEvaluation::Call& call : evaluation.calls) {
    if (!call.isKnown) {
      all.push_back(fmt::format("unknown predicate {} ({})", visible(call.operation()), visible(troubleOf(call))));
    } else if (lacksValue(rule, call)) {
      all.push_back(fmt::format("no expected value is defined: {} {}", call.word,
                                withoutValue(*PredicateFacts::find(call.word))));
    }
  }
  const bool pass = evaluation.record && passed(*evaluation.record);
  for (const std::string& remark : remarksOn(evaluation, pass)) all.push_back(visible(remark));
  return all;
}

/// A heading with a table below it; omitted if the table is empty.
class Section {
 public:
  explicit Section(std::string_view title) : title_(title) {}
  void add(std::vector<std::string> cells) {
    cells.front().insert(0, "  ");
    table_.add(Style::kPlain, std::move(cells));
    empty_ = false;
  }
  [[nodiscard]] std::string text(const Screen& screen) const {
    return empty_ ? "" : "\n" + styled(title_, Style::kHeading, screen) + "\n" + table_.text(screen);
  }

 private:
  std::string_view title_;
  Table table_{true};
  bool empty_ = true;
};

std::string foundText(const std::optional<Value>& value) {
  constexpr std::size_t kWidestFound = 200;
  return value ? shortened(shown(*value), kWidestFound) : "not found";
}

std::string notThereText(const RuleNotThere& rule, const Explanation& all) {
  std::string text = "this device does not get it";
  if (!rule.devices.empty()) {
    text += "; devices that get it: " + all.kinds.text(rule.devices);
  } else {
    text += rule.defined ? "; no device gets it" : "; neither the library nor the local rules define it";
  }
  if (rule.nearest) text += fmt::format("; did you mean \"{}\"?", visible(*rule.nearest));
  return text;
}

/// Lines with a label in front, aligned.
void addLine(std::string& text, std::string_view label, std::string_view content) {
  if (!content.empty()) text += fmt::format("  {:<11} {}\n", label, content);
}

std::string expectedText(const RuleNote& rule, const Explanation& all) {
  const LocalEntry& last = rule.rule->entries.back();
  if (last.value() != nullptr) return fmt::format("{}, by {}", shown(*last.value()), layerText(last, all));
  const Value* const value = rule.rule->value();
  if (value != nullptr) return shown(*value) + ", by the library";
  const RuleEvaluation& evaluation = rule.evaluation;
  if (evaluation.firstReferenceIsValue && !evaluation.references.empty()) {
    return "the reference " + referenceText(evaluation.references.front());
  }
  return lacksValue(rule) ? "no expected value is defined" : "";
}

void addRow(Table& table, std::string_view label, const Value& record) {
  const bool pass = passed(record);
  const Dictionary& entries = *record.ifDictionary();
  table.add(pass ? Style::kPlain : Style::kBad, {"  " + std::string(label), pass ? "pass" : "FAIL",
                                                 lineOf(entries.find("actual")), lineOf(entries.find("expected"))});
}

std::string recordsText(const RuleEvaluation& evaluation, const Screen& screen) {
  Table table;
  table.add(Style::kHeading, {"  called", "result", "actual", "expected"});
  const bool stepwise = evaluation.combination != PredicateExpression::Operator::kNone;
  bool called = false;
  for (const RuleEvaluation::Call& call : evaluation.calls) {
    if (call.record) addRow(table, visible(call.operation()), *call.record);
    called = called || call.record;
  }
  if (!called && evaluation.record) addRow(table, "nothing", *evaluation.record);
  if (called && stepwise && evaluation.record) {
    addRow(table, fmt::format("{} makes it", PredicateExpression::word(evaluation.combination)), *evaluation.record);
  }
  std::string text = called || evaluation.record ? "\n" + table.text(screen) : "";
  if (evaluation.fault)
    text += styled("  a fault ends the check: " + visible(evaluation.fault->message), Style::kBad, screen) + "\n";
  return text;
}

std::string ruleText(const RuleNote& rule, const Explanation& all, const Screen& screen) {
  const RuleEvaluation& evaluation = rule.evaluation;
  const Dictionary complete = rule.rule->rule();
  std::string text = styled(visible(rule.rule->name), Style::kHeading, screen) + "\n";
  addLine(text, "comes from", layerText(rule.rule->entries.back(), all));
  for (const RuleSetOrigin& set : all.notes.device().sets) {
    if (set.name == rule.rule->entries.back().set) addLine(text, "", "named by " + layersText(set.entries, all));
  }
  for (const std::string& sentence : replacements(rule, all)) addLine(text, "", sentence);
  addLine(text, "predicate", evaluation.wantsAbsence ? "none" : lineOf(complete.find("predicate")));
  addLine(text, "", meaningOf(evaluation));
  addLine(text, "attribute",
          fmt::format("{}: {}", shownName(evaluation.attribute.name), foundText(evaluation.attribute.value)));
  for (const RuleEvaluation::Operand& reference : evaluation.references) {
    addLine(text, "reference", fmt::format("{}: {}", referenceText(reference), foundText(reference.value)));
  }
  addLine(text, "expected", expectedText(rule, all));
  for (const std::string& trouble : troubles(rule)) addLine(text, "to review", trouble);
  text += recordsText(evaluation, screen);
  if (!evaluation.record) return text;
  const Dictionary& record = *evaluation.record->ifDictionary();
  std::string more;
  if (const Value* forwarded = record.find("attributes")) addLine(more, "forwards", shown(*forwarded));
  if (record.contains("hideResult")) addLine(more, "hidden", "\"check\" does not list it when it passes");
  return more.empty() ? text : text + "\n" + more;
}

}  // namespace

std::string troubleOf(const RuleEvaluation::Call& call) {
  if (call.isKnown) return "";
  if (PredicateFacts::find(call.word) == nullptr) {
    return "no predicate has this name" + didYouMean(call.word, predicateNames());
  }
  return call.withReferences ? "it takes no references" : "it needs references, but there are none";
}

std::string overviewText(const Explanation& explanation, const Screen& screen) {
  Table rules(true);
  Section replaced("Replaced");
  Section references("References");
  Section sets("Rule sets");
  Section look("To review");
  rules.add(Style::kHeading, {"rule", "comes from", "expected", "defined by", "calls"});
  for (const RuleNote* note : explanation.rules) {
    const RuleNote& rule = *note;
    const std::string name = visible(rule.rule->name);
    const Value* const value = rule.rule->value();
    rules.add(Style::kPlain, {name, layerText(rule.rule->entries.back(), explanation),
                              value == nullptr ? "" : shortened(shown(*value), kWidestValue), valueSource(rule),
                              callsText(rule.evaluation)});
    for (const std::string& sentence : replacements(rule, explanation)) replaced.add({name, sentence});
    for (const RuleEvaluation::Operand& reference : rule.evaluation.references) {
      references.add({name, referenceText(reference), foundText(reference.value)});
    }
    for (const std::string& trouble : troubles(rule)) look.add({name, trouble});
  }
  for (const RuleSetOrigin& set : explanation.notes.device().sets) {
    sets.add({visible(set.name), "named by " + layersText(set.entries, explanation)});
  }
  const std::size_t count = explanation.rules.size();
  for (const std::string& note : explanation.notes.aboutDevice()) look.add({"", visible(note)});
  return fmt::format("{}: {}\n\n", deviceText(explanation), counted(count, "rule")) +
         (count == 0 ? "" : rules.text(screen)) + replaced.text(screen) + references.text(screen) + sets.text(screen) +
         look.text(screen);
}

std::string stepsText(const Explanation& explanation, const Screen& screen) {
  std::string text = deviceText(explanation) + "\n";
  for (const std::string& note : explanation.notes.aboutDevice()) text += "note: " + visible(note) + "\n";
  for (const RuleNote* rule : explanation.rules) text += "\n" + ruleText(*rule, explanation, screen);
  for (const RuleNotThere& rule : explanation.notThere) {
    text +=
        "\n" + styled(visible(rule.name), Style::kHeading, screen) + "\n  " + notThereText(rule, explanation) + "\n";
  }
  return text;
}

}  // namespace tavik::tool
