#include "lint/Rule.h"

#include <fmt/format.h>
#include <tavik/AbstractTree.h>

#include <algorithm>
#include <memory>
#include <unordered_set>

#include "lint/ValuePart.h"

namespace tavik::tool::lint {
namespace {

/// A kernel that says nothing and trusts nobody: it only tells whether an expression is well-formed.
const PredicateKernel& silentKernel() {
  class Silent : public Platform {
   public:
    std::optional<Value> validatedPropertyListFromSignedDictionary(const Dictionary&, const std::string&,
                                                                   std::optional<std::string>&) const override {
      return std::nullopt;
    }
    bool logs() const override { return false; }
  };
  static const PredicateKernel kernel(std::make_shared<Silent>());
  return kernel;
}

bool isWellFormed(std::string_view expression) {
  std::optional<Error> error;
  return AbstractTreeNode::parsePredicateString(expression, silentKernel(), error) != nullptr;
}

std::vector<std::string_view> wordsOf(std::string_view expression) {
  std::vector<std::string_view> words;
  for (std::size_t blank = expression.find(' '); blank != std::string_view::npos; blank = expression.find(' ')) {
    words.push_back(expression.substr(0, blank));
    expression.remove_prefix(blank + 1);
  }
  words.push_back(expression);
  return words;
}

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
  const auto text = expression();
  malformed_ = !text || !isWellFormed(*text);
  if (malformed_) return;
  const std::vector<std::string_view> words = wordsOf(*text);
  const auto add = [&](std::string_view word) { operands_.push_back({word, PredicateFacts::find(word)}); };
  if (words.size() == 3) {
    operator_ = words[1].starts_with('a') || words[1].starts_with('A') ? Operator::kAnd : Operator::kOr;
    add(words[0]);
    add(words[2]);
  } else {
    operator_ = words.size() == 2 ? Operator::kNot : Operator::kNone;
    add(words.back());
  }
  takesFirstReference_ = hasReferences() && !value_ && operator_ == Operator::kNone && operands_[0].facts != nullptr &&
                         operands_[0].facts->firstReferenceMayBeValue;
}

std::string Rule::sentence(Forecast forecast) const {
  const std::string whom = entry_ == nullptr ? "every device" : entry_->layer->whom();
  switch (forecast) {
    case Forecast::kFails:
      return fmt::format("The rule fails for {}.", whom);
    case Forecast::kPasses:
      return fmt::format("The rule passes for {}, whatever the device says.", whom);
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
    return fmt::format("\"{}\" always {}, and NOT turns that round. {}", operand.word, verbOf(forecast),
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
