#include "lint/Rule.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

#include "lint/ValuePart.h"

namespace tavik::tool::lint {
namespace {

Rule::Forecast negated(Rule::Forecast forecast) {
  if (forecast == Rule::Forecast::kFails) return Rule::Forecast::kPasses;
  return forecast == Rule::Forecast::kPasses ? Rule::Forecast::kFails : forecast;
}

std::string_view verbOf(Rule::Forecast forecast) { return forecast == Rule::Forecast::kFails ? "fails" : "passes"; }

}  // namespace

Rule::Rule(const Place& definition, std::string_view name, const Entry* entry)
    : name_(name), definition_(definition), entry_(entry) {
  if (valueIsLocal()) {
    entryPlace_ = entry->place();
    value_ = entryPlace_->entry("value", *entry->expected());
  } else {
    value_ = key("value");
  }
  readReferences();
  if (!wantsAbsence()) readExpression();
}

std::optional<Place> Rule::key(std::string_view key) const {
  const Value* found = keys().find(key);
  return found == nullptr ? std::nullopt : std::optional(definition_.entry(key, *found));
}

Place Rule::expressionPlace() const { return key("predicate").value_or(definition_); }

void Rule::readReferences() {
  referencesPlace_ = key("references");
  if (!referencesPlace_) return;
  const Array* elements = referencesPlace_->value().ifArray();
  const auto isDictionary = [](const Value& element) { return element.ifDictionary() != nullptr; };
  referencesAreMalformed_ = elements == nullptr || !std::ranges::all_of(*elements, isDictionary);
  if (referencesAreMalformed_) return;
  std::unordered_set<std::string_view> seen;
  for (std::size_t i = 0; i < elements->size(); ++i) {
    const Dictionary& reference = *elements->at(i).ifDictionary();
    const auto name = reference.findString("attribute");
    const std::string_view read = name ? *name : keys().findString("attribute").value_or("");
    references_.push_back({read, referencesPlace_->element(i, elements->at(i))});
    if (seen.insert(read).second) referenceNames_.push_back(read);
  }
}

void Rule::readExpression() {
  const PredicateExpression parsed = PredicateExpression::parse(expression());
  malformed_ = parsed.isMalformed();
  if (malformed_) return;
  operator_ = parsed.combination();
  for (const std::string_view word : parsed.predicates()) operands_.push_back({word, PredicateFacts::find(word)});
  takesFirstReference_ = hasReferences() && !value_ && operator_ == Operator::kNone && operands_[0].facts != nullptr &&
                         operands_[0].facts->firstReferenceMayBeValue;
}

std::string Rule::sentence(Forecast forecast) const {
  const std::string whom = entry_ == nullptr ? "every device" : entry_->layer->whom();
  switch (forecast) {
    case Forecast::kFails:
      return fmt::format("The rule fails for {}.", whom);
    case Forecast::kPasses:
      return fmt::format("The rule passes for {}, regardless of its attributes.", whom);
    case Forecast::kFault:
      return fmt::format("A fault ends the check of {} that has the rule's attribute: no rule gets a record.",
                         entry_ == nullptr ? "every device" : whom);
    case Forecast::kOpen:
      break;
  }
  return "";
}

std::string Rule::consequence(const Operand& operand, Forecast forecast) const {
  if (referencesAreMalformed_) return sentence(Forecast::kFails);
  if (forecast == Forecast::kFault || operator_ == Operator::kNone) return sentence(forecast);
  if (operator_ == Operator::kNot) {
    return fmt::format("\"{}\" always {}, and NOT inverts that. {}", operand.word, verbOf(forecast),
                       sentence(negated(forecast)));
  }
  const bool decides = (operator_ == Operator::kAnd) == (forecast == Forecast::kFails);
  if (decides) return sentence(forecast);
  const Operand& other = &operand == &operands_[0] ? operands_[1] : operands_[0];
  const Forecast others = forecastOf(*this, other);
  const std::string first = fmt::format("\"{}\" always {}", operand.word, verbOf(forecast));
  if (others != Forecast::kFails && others != Forecast::kPasses) {
    return fmt::format("{}, so only \"{}\" decides.", first, other.word);
  }
  return fmt::format("{}, and \"{}\" always {}. {}", first, other.word, verbOf(others), sentence(others));
}

}  // namespace tavik::tool::lint
