// Predicate expressions as trees of objects, for hosts that look into them.

#include <tavik/AbstractTree.h>

#include "AbstractTree/Expression.h"
#include "values/Format.h"

namespace tavik {

AbstractTreeNode::~AbstractTreeNode() = default;

std::optional<Dictionary> AbstractTreeNode::process(const Value* /*attribute*/, const Value* /*value*/,
                                                    const Dictionary* /*references*/) const {
  return std::nullopt;
}

std::unique_ptr<AbstractTreeNode> AbstractTreeNode::parsePredicateString(
    std::optional<std::string_view> predicateString, const PredicateKernel& kernel, std::optional<Error>& error) {
  const Expression expression = Expression::parse(predicateString);
  if (expression.errorCode != 0) {
    const std::string_view shown = predicateString.value_or("(null)");
    error = kernel.handleError(expression.errorCode, format("invalid logical operator:%@", {shown}));
    return nullptr;
  }
  const auto& [first, second] = expression.words;
  switch (expression.combination) {
    case Expression::Operator::kNot:
      return std::make_unique<NotTreeNode>(kernel, first);
    case Expression::Operator::kAnd:
      return std::make_unique<AndTreeNode>(kernel, first, second);
    case Expression::Operator::kOr:
      return std::make_unique<OrTreeNode>(kernel, first, second);
    default:
      return std::make_unique<SelectorTreeNode>(kernel, first);
  }
}

SelectorTreeNode::SelectorTreeNode(const PredicateKernel& kernel, std::string_view predicateString)
    : AbstractTreeNode(kernel) {
  addChild(predicateString);
}

std::optional<Dictionary> SelectorTreeNode::process(const Value* attribute, const Value* value,
                                                    const Dictionary* references) const {
  return processSelector(child(0), attribute, value, references);
}

Dictionary SelectorTreeNode::processSelector(std::string_view selector, const Value* attribute, const Value* value,
                                             const Dictionary* references) const {
  if (auto record = kernel_.perform(selector, attribute, references, value)) return *std::move(record);
  return unknownPredicate(selector, references != nullptr).record();
}

bool SelectorTreeNode::isInvalidSelector(const Dictionary& /*record*/) const { return false; }

std::optional<Dictionary> NotTreeNode::process(const Value* attribute, const Value* value,
                                               const Dictionary* references) const {
  const Dictionary record = processSelector(child(0), attribute, value, references);
  if (isInvalidSelector(record)) return record;
  return negated(RuleResult::of(record)).record();
}

AndTreeNode::AndTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate)
    : SelectorTreeNode(kernel, leftPredicate) {
  addChild(rightPredicate);
}

std::optional<Dictionary> AndTreeNode::process(const Value* attribute, const Value* value,
                                               const Dictionary* references) const {
  const Dictionary left = processSelector(child(0), attribute, value, references);
  if (isInvalidSelector(left)) return left;
  const Dictionary right = processSelector(child(1), attribute, value, references);
  if (isInvalidSelector(right)) return right;
  return both(RuleResult::of(left), RuleResult::of(right)).record();
}

OrTreeNode::OrTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate)
    : SelectorTreeNode(kernel, leftPredicate) {
  addChild(rightPredicate);
}

std::optional<Dictionary> OrTreeNode::process(const Value* attribute, const Value* value,
                                              const Dictionary* references) const {
  const Dictionary left = processSelector(child(0), attribute, value, references);
  if (isInvalidSelector(left)) return left;
  const Dictionary right = processSelector(child(1), attribute, value, references);
  if (isInvalidSelector(right)) return right;
  return either(RuleResult::of(left), RuleResult::of(right)).record();
}

}  // namespace tavik
