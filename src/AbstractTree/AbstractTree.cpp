// Predicate expressions as trees of objects, for hosts that inspect them.

#include <tavik/AbstractTree.h>
#include <tavik/PredicateExpression.h>

#include "kernel_algorithms/OperationRegistry.h"
#include "values/Format.h"

namespace tavik {

namespace {

using Operator = PredicateExpression::Operator;

Judgement judge(const PredicateKernel& kernel, std::string_view word, const Operands& operands) {
  const Operation* operation = findOperation(word, operands.references != nullptr);
  return operation == nullptr ? unknownPredicate(word, operands.references != nullptr)
                              : call(*operation, operands, kernel.platform());
}

}  // namespace

AbstractTreeNode::~AbstractTreeNode() = default;

std::optional<Dictionary> AbstractTreeNode::process(const Value* /*attribute*/, const Value* /*value*/,
                                                    const Dictionary* /*references*/) const {
  return std::nullopt;
}

std::unique_ptr<AbstractTreeNode> AbstractTreeNode::parsePredicateString(
    std::optional<std::string_view> predicateString, const PredicateKernel& kernel, std::optional<Error>& error) {
  const auto expression = PredicateExpression::parse(predicateString);
  if (expression.isMalformed()) {
    const std::string_view shown = predicateString.value_or("(null)");
    error = kernel.handleError(expression.errorCode(), format("invalid logical operator:%@", {shown}));
    return nullptr;
  }
  const auto names = expression.predicates();
  switch (expression.combination()) {
    case Operator::kNot:
      return std::make_unique<NotTreeNode>(kernel, names[0]);
    case Operator::kAnd:
      return std::make_unique<AndTreeNode>(kernel, names[0], names[1]);
    case Operator::kOr:
      return std::make_unique<OrTreeNode>(kernel, names[0], names[1]);
    default:
      return std::make_unique<SelectorTreeNode>(kernel, names[0]);
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
  return judge(kernel_, selector, {attribute, references, value}).record();
}

bool SelectorTreeNode::isInvalidSelector(const Dictionary& /*record*/) const { return false; }

// The node's record. If the node considers a child's record invalid, that record is returned unchanged.
Dictionary SelectorTreeNode::combined(PredicateExpression::Operator combination, const Value* attribute,
                                      const Value* value, const Dictionary* references) const {
  const Operands operands = {attribute, references, value};
  Judgement left = judge(kernel_, child(0), operands);
  if (Dictionary record = Judgement(left).record(); isInvalidSelector(record)) return record;
  if (combination == Operator::kNot) {
    negate(left);
  } else {
    Judgement right = judge(kernel_, child(1), operands);
    if (Dictionary record = Judgement(right).record(); isInvalidSelector(record)) return record;
    combine(left, combination, std::move(right));
  }
  return std::move(left).record();
}

std::optional<Dictionary> NotTreeNode::process(const Value* attribute, const Value* value,
                                               const Dictionary* references) const {
  return combined(Operator::kNot, attribute, value, references);
}

AndTreeNode::AndTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate)
    : SelectorTreeNode(kernel, leftPredicate) {
  addChild(rightPredicate);
}

std::optional<Dictionary> AndTreeNode::process(const Value* attribute, const Value* value,
                                               const Dictionary* references) const {
  return combined(Operator::kAnd, attribute, value, references);
}

OrTreeNode::OrTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate)
    : SelectorTreeNode(kernel, leftPredicate) {
  addChild(rightPredicate);
}

std::optional<Dictionary> OrTreeNode::process(const Value* attribute, const Value* value,
                                              const Dictionary* references) const {
  return combined(Operator::kOr, attribute, value, references);
}

}  // namespace tavik
