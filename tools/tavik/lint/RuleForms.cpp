#include "lint/RuleForms.h"

#include <tavik/PredicateExpression.h>
#include <tavik/PredicateFacts.h>

#include <algorithm>
#include <exception>
#include <optional>

#include "rules/HostPlatform.h"

namespace tavik::tool::lint {
namespace {

constexpr std::size_t kMostEvaluations = 3'000'000;
constexpr std::size_t kMostValuesCompared = 64;
/// Comparing with a list takes as much time as an evaluation per this many values.
constexpr std::size_t kValuesPerEvaluation = 50;

bool isSame(const Value* left, const Value* right) {
  return left == right || (left != nullptr && right != nullptr && *left == *right);
}

}  // namespace

RuleForm::RuleForm(std::string_view expression, const Value* value) : value_(value) {
  std::optional<Error> error;
  tree_ = AbstractTreeNode::parsePredicateString(expression, silentKernel(), error);
  const PredicateExpression parsed = PredicateExpression::parse(expression);
  patterns_.isUnknown = parsed.isMalformed();
  for (const std::string_view word : parsed.predicates()) {
    patterns_.add(word, value);
    const PredicateFacts* facts = PredicateFacts::find(word);
    if (facts == nullptr) continue;
    const ValueFacts& code = facts->value.elements != nullptr ? *facts->value.elements : facts->value;
    codeLength_ = code.characters;
  }
}

bool RuleForm::passes(const Value& attribute) const {
  try {
    const auto record = tree_->process(&attribute, value_, nullptr);
    const Value* result = record ? record->find("result") : nullptr;
    return result != nullptr && result->ifBoolean() == true;
  } catch (const std::exception&) {  // a fault
    return false;
  }
}

const RuleForm& RuleForms::of(std::string_view expression, const Value* value) {
  std::vector<const RuleForm*>& forms = byExpression_[expression];
  for (std::size_t i = 0; i < std::min(forms.size(), kMostValuesCompared); ++i) {
    if (isSame(forms[i]->value(), value)) return *forms[i];
  }
  const RuleForm& form = all_.emplace_back(expression, value);
  forms.push_back(&form);
  numbers_.emplace(&form, static_cast<std::uint32_t>(numbers_.size()));
  return form;
}

Relation RuleForms::between(const RuleForm& first, const RuleForm& other) {
  if (!first.isUnderstood() || !other.isUnderstood()) return Relation::kNone;
  if (&first == &other) return Relation::kSame;
  const std::uint64_t pair = std::uint64_t{numbers_.at(&first)} << 32U | numbers_.at(&other);
  const auto [place, isNew] = relations_.try_emplace(pair, Relation::kNone);
  if (isNew) place->second = evaluate(first, other);
  return place->second;
}

Relation RuleForms::evaluate(const RuleForm& first, const RuleForm& other) {
  if (evaluations_ >= kMostEvaluations) return Relation::kNone;
  Patterns patterns = first.patterns();
  patterns.add(other.patterns());
  const std::vector<Value> samples = samplesFor(patterns);
  evaluations_ += samples.size() * (2 + patterns.values.size() / kValuesPerEvaluation);
  bool firstPasses = false;
  bool otherPasses = false;
  bool bothPass = false;
  bool onlyFirst = false;
  bool onlyOther = false;
  for (const Value& sample : samples) {
    const bool byFirst = first.passes(sample);
    const bool byOther = other.passes(sample);
    firstPasses = firstPasses || byFirst;
    otherPasses = otherPasses || byOther;
    bothPass = bothPass || (byFirst && byOther);
    if (sample.kind() == Kind::kArray) continue;  // most attributes that are compared with a list are not lists
    onlyFirst = onlyFirst || (byFirst && !byOther);
    onlyOther = onlyOther || (byOther && !byFirst);
  }
  if (!firstPasses || !otherPasses) return Relation::kNone;
  if (!bothPass) return Relation::kContradiction;
  if (onlyFirst && onlyOther) return Relation::kNone;
  if (!onlyFirst && !onlyOther) return Relation::kSame;
  const bool areCodes = first.codeLength() != 0 && other.codeLength() != 0;
  if (areCodes && first.codeLength() != other.codeLength()) return Relation::kNone;
  return onlyOther ? Relation::kFirstImpliesOther : Relation::kOtherImpliesFirst;
}

bool RuleForms::isImpossible(const RuleForm& form) {
  if (!form.isUnderstood() || evaluations_ >= kMostEvaluations) return false;
  const std::vector<Value> samples = samplesFor(form.patterns());
  evaluations_ += samples.size();
  return !samples.empty() && std::ranges::none_of(samples, [&](const Value& sample) { return form.passes(sample); });
}

}  // namespace tavik::tool::lint
