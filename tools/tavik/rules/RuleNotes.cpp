#include "rules/RuleNotes.h"

#include <fmt/format.h>
#include <tavik/PredicateFacts.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <set>

#include "decode/PackedData.h"
#include "rules/HostPlatform.h"
#include "rules/RuleMeaning.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

using Operand = RuleEvaluation::Operand;

std::string_view adviceForMissing(const Operand& operand) {
  if (!operand.name) return kRulesAtFault;
  if (!operand.source) {
    return "The device did not report this value. Find out why it was not read or never written; then collect the "
           "values again.";
  }
  return *operand.source == "gui" ? "The operator was not asked or did not answer. Ask, then check the device again."
                                  : "This source does not have the value for this device. Have it entered there, then "
                                    "check the device again.";
}

/// A kind in words for people who do not write rules.
std::string_view wordFor(Kind kind) {
  constexpr std::string_view kWords[] = {"text",   "a number", "true or false", "data",
                                         "a date", "a list",   "a dictionary"};
  return kWords[static_cast<std::size_t>(kind)];
}

/// Collects remarks without duplicates: the two predicates of an expression often have the same ones.
class Remarks {
 public:
  void add(std::string remark) {
    if (std::ranges::find(all_, remark) == all_.end()) all_.push_back(std::move(remark));
  }
  [[nodiscard]] std::vector<std::string> take() && { return std::move(all_); }

 private:
  std::vector<std::string> all_;
};

void addWrongKind(Remarks& remarks, std::string_view what, const Value& value, Kinds expected) {
  if (expected.contains(value.kind())) return;
  remarks.add(fmt::format("{}found {}, expected {}", what, wordFor(value.kind()), textOf(expected, wordFor)));
}

/// For a value that is not in a list although its text is: the two kinds.
void addKindInList(Remarks& remarks, const Value& value, const Array& list) {
  const auto looksAlike = [&](const Value& element) { return description(&element) == description(&value); };
  const auto* const alike = std::ranges::find_if(list, looksAlike);
  if (alike == list.end() || std::ranges::find(list, value) != list.end()) return;
  remarks.add(fmt::format("found {}, expected {}", wordFor(value.kind()), wordFor(alike->kind())));
}

void addKinds(Remarks& remarks, const RuleEvaluation& evaluation, const PredicateFacts& facts) {
  const Value& attribute = *evaluation.attribute.value;
  if (facts.readsAttribute) addWrongKind(remarks, "", attribute, facts.attribute.kinds);
  for (const Operand& reference : evaluation.references) {
    if (!reference.name || !reference.value) continue;
    const std::string_view name = *reference.name;
    if (!facts.readsTheOnlyReference && std::ranges::count(facts.references, name) == 0) continue;
    addWrongKind(remarks, fmt::format("reference \"{}\": ", name), *reference.value, Kinds{Kind::kString});
  }
  if (!evaluation.value || facts.withoutValue == Without::kSame) return;
  addWrongKind(remarks, "expected value: ", *evaluation.value, facts.value.kinds);
  const Array* const list = evaluation.value->ifArray();
  if (list == nullptr || facts.attribute.kinds != Kinds::any()) return;
  const Array* const elements = attribute.ifArray();
  if (elements == nullptr) return addKindInList(remarks, attribute, *list);
  for (const Value& element : *elements) addKindInList(remarks, element, *list);
}

bool isBeyond32Bits(const Value& number) { return longValue(&number) != integerValue(&number); }

/// Different numbers that `equal` considers the same because it reads only 32 bits.
void addCutNumbers(Remarks& remarks, const RuleEvaluation& evaluation, std::string_view predicate) {
  const std::optional<Value>& expected = evaluation.value;
  if (predicate != "equal" || !expected) return;
  const Value& found = *evaluation.attribute.value;
  const bool isCut = isBeyond32Bits(found) && isBeyond32Bits(*expected) &&
                     integerValue(&found) == integerValue(&*expected) && longValue(&found) != longValue(&*expected);
  if (isCut) {
    remarks.add(fmt::format("different numbers, {} and {}: equal compares 32 bits and reads both as {}; use equalLong",
                            longValue(&found), longValue(&*expected), integerValue(&found)));
  }
}

}  // namespace

std::vector<std::string> remarksOn(const RuleEvaluation& evaluation, bool pass) {
  Remarks remarks;
  if (evaluation.referencesAreMalformed) remarks.add("the rule's references are malformed");
  for (const RuleEvaluation::Call& call : evaluation.calls) {
    const PredicateFacts* const facts = PredicateFacts::find(call.word);
    if (facts == nullptr || !call.record || !evaluation.attribute.value) continue;
    addCutNumbers(remarks, evaluation, call.word);
    if (!pass && call.record->ifDictionary()->find("result")->ifBoolean() == false) {
      addKinds(remarks, evaluation, *facts);
    }
  }
  return std::move(remarks).take();
}

std::vector<std::string> RuleNote::remarks(bool pass) const { return remarksOn(evaluation, pass); }

std::string_view RuleNote::advice() const {
  if (evaluation.wantsAbsence) return "This must not be on the device. Remove it.";
  if (evaluation.referencesAreMalformed) return kRulesAtFault;
  if (!evaluation.attribute.value) return adviceForMissing(evaluation.attribute);
  if (lacksSource) return "The check ran without this source. Run it again with the source.";
  for (const Operand& reference : evaluation.references) {
    if (!reference.value) return adviceForMissing(reference);
  }
  const auto wasCalled = [](const RuleEvaluation::Call& call) { return call.isKnown && call.record; };
  return std::ranges::all_of(evaluation.calls, wasCalled) ? "" : kRulesAtFault;
}

RuleNotes notesAfterCheck(const Dictionary& attributes, const Dictionary& sources, const RuleOrigins& origins) {
  const RuleEvaluator evaluator(silentKernel(), attributes, sources);
  const Dictionary& device = evaluator.attributes();
  std::optional<Error> error;
  return {evaluator, attributes, sources,
          origins.of(device.find("ModelNumber"), device.find("RegionInfo"), error).value_or(RuleOrigins::Device{})};
}

RuleNotes::RuleNotes(const RuleEvaluator& evaluator, const Dictionary& attributes, const Dictionary& sources,
                     RuleOrigins::Device device)
    : device_(std::move(device)) {
  for (const RuleOrigin& rule : device_.rules) notes_.push_back({&rule, evaluator.evaluate(rule)});
  noteMissingSources(sources);
  notePackedData(attributes);
}

const RuleNote* RuleNotes::at(std::size_t number) const { return number < notes_.size() ? &notes_[number] : nullptr; }

const RuleNote* RuleNotes::of(std::string_view name) const {
  const auto note = std::ranges::find(notes_, name, [](const RuleNote& one) { return one.rule->name; });
  return note == notes_.end() ? nullptr : &*note;
}

void RuleNotes::noteMissingSources(const Dictionary& sources) {
  for (RuleNote& note : notes_) {
    std::set<std::string_view> missing;
    for (const Operand& reference : note.evaluation.references) {
      if (reference.source && !sources.contains(*reference.source)) missing.insert(*reference.source);
    }
    note.lacksSource = !missing.empty();
    for (const std::string_view source : missing) ++missingSources_[std::string(source)];
  }
  std::string given;
  for (const auto [name, source] : sources) given += fmt::format("{}\"{}\"", given.empty() ? "" : ", ", name);
  for (const auto& [name, rules] : missingSources_) {
    aboutDevice_.push_back(fmt::format("source \"{}\" was not given, but {} need{} it; {}", name,
                                       counted(rules, "rule"), rules == 1 ? "s" : "",
                                       given.empty() ? "no source was given" : "given: " + given));
  }
}

void RuleNotes::notePackedData(const Dictionary& attributes) {
  for (const PackedTrouble& trouble : packedTroubles(attributes)) {
    if (lacksFieldOf(trouble.prefix)) aboutDevice_.push_back(trouble.why);
  }
}

bool RuleNotes::lacksFieldOf(std::string_view prefix) const {
  const auto isLacking = [&](const Operand& operand) {
    return !operand.value && !operand.source && operand.name && operand.name->starts_with(prefix);
  };
  return std::ranges::any_of(notes_, [&](const RuleNote& note) {
    return isLacking(note.evaluation.attribute) || std::ranges::any_of(note.evaluation.references, isLacking);
  });
}

}  // namespace tavik::tool
