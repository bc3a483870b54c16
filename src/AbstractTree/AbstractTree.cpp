// Predicate expressions: parsing, and combining the records of the predicates that they name.

#include <tavik/AbstractTree.h>

#include "kernel_algorithms/RuleResult.h"
#include "values/Format.h"
#include "values/Text.h"

namespace tavik {

namespace {

constexpr std::int32_t kBadOperator = -100006;
constexpr std::int32_t kBadWordCount = -100007;

// The words of an expression, as many as it can have; each blank separates two words, which may be empty.
struct Words {
  static constexpr std::size_t kMost = 3;

  explicit Words(std::string_view expression) {
    for (;;) {
      const std::size_t blank = expression.find(' ');
      if (count < kMost) word[count] = expression.substr(0, blank);
      ++count;
      if (blank == std::string_view::npos || count > kMost) return;
      expression.remove_prefix(blank + 1);
    }
  }

  std::string_view word[kMost];
  std::size_t count = 0;
};

bool passed(const Dictionary& record) { return booleanValue(record.find("result")); }

}  // namespace

AbstractTreeNode::~AbstractTreeNode() = default;

std::optional<Dictionary> AbstractTreeNode::process(const Value* /*attribute*/, const Value* /*value*/,
                                                    const Dictionary* /*references*/) const {
  return std::nullopt;
}

std::unique_ptr<AbstractTreeNode> AbstractTreeNode::parsePredicateString(
    std::optional<std::string_view> predicateString, const PredicateKernel& kernel, std::optional<Error>& error) {
  const auto fail = [&](std::int32_t code) -> std::unique_ptr<AbstractTreeNode> {
    const std::string_view shown = predicateString.value_or("(null)");
    error = kernel.handleError(code, format("invalid logical operator:%@", {shown}));
    return nullptr;
  };
  if (!predicateString) return fail(kBadWordCount);
  const Words words(*predicateString);
  const auto& [first, second, third] = words.word;
  switch (words.count) {
    case 1:
      return std::make_unique<SelectorTreeNode>(kernel, first);
    case 2:
      if (equalIgnoringCase(first, "NOT")) return std::make_unique<NotTreeNode>(kernel, second);
      return fail(kBadOperator);
    case 3:
      if (equalIgnoringCase(second, "AND")) return std::make_unique<AndTreeNode>(kernel, first, third);
      if (equalIgnoringCase(second, "OR")) return std::make_unique<OrTreeNode>(kernel, first, third);
      return fail(kBadOperator);
    default:
      return fail(kBadWordCount);
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
  const std::string_view form = references != nullptr ? ":references:value:" : ":value:";
  return ruleResult(false, formattedValue("unknown predicate %@%@", {selector, form}), "valid predicate name");
}

bool SelectorTreeNode::isInvalidSelector(const Dictionary& /*record*/) const { return false; }

std::optional<Dictionary> NotTreeNode::process(const Value* attribute, const Value* value,
                                               const Dictionary* references) const {
  Dictionary record = processSelector(child(0), attribute, value, references);
  if (isInvalidSelector(record)) return record;
  record.set("result", Value(!passed(record)));
  record.set("expected", formattedValue("not %@", {record.find("expected")}));
  return record;
}

AndTreeNode::AndTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate)
    : SelectorTreeNode(kernel, leftPredicate) {
  addChild(rightPredicate);
}

std::optional<Dictionary> AndTreeNode::process(const Value* attribute, const Value* value,
                                               const Dictionary* references) const {
  Dictionary left = processSelector(child(0), attribute, value, references);
  if (isInvalidSelector(left)) return left;
  Dictionary right = processSelector(child(1), attribute, value, references);
  if (isInvalidSelector(right)) return right;
  return ruleResult(passed(left) && passed(right),
                    formattedValue("%@ and %@", {left.find("actual"), right.find("actual")}),
                    formattedValue("%@ and %@", {left.find("expected"), right.find("expected")}));
}

OrTreeNode::OrTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate)
    : SelectorTreeNode(kernel, leftPredicate) {
  addChild(rightPredicate);
}

std::optional<Dictionary> OrTreeNode::process(const Value* attribute, const Value* value,
                                              const Dictionary* references) const {
  Dictionary left = processSelector(child(0), attribute, value, references);
  if (isInvalidSelector(left)) return left;
  Dictionary right = processSelector(child(1), attribute, value, references);
  if (isInvalidSelector(right)) return right;
  // The right "actual" is never shown, by design.
  return ruleResult(passed(left) || passed(right), formattedValue("%@", {left.find("actual")}),
                    formattedValue("%@ or %@", {left.find("expected"), right.find("expected")}));
}

}  // namespace tavik
