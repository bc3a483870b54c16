/// @file
/// Predicate expressions (PredicateExpression.h) as trees of nodes that can be evaluated.
///
///     std::optional<Error> error;
///     auto tree = AbstractTreeNode::parsePredicateString("hasPrefix AND isUppercase", kernel, error);
///     if (tree) Dictionary record = *tree->process(&attribute, &expected, nullptr);
///
/// A tree refers to its kernel and must not outlive it. Trees made by `parsePredicateString` are immutable and
/// thread-safe.
#ifndef TAVIK_ABSTRACT_TREE_H
#define TAVIK_ABSTRACT_TREE_H

#include <tavik/Error.h>
#include <tavik/PredicateExpression.h>
#include <tavik/PredicateKernel.h>
#include <tavik/Value.h>

#include <memory>
#include <optional>
#include <string_view>

namespace tavik {

/// A node: an operator with the names of its predicates, one or two.
class TAVIK_EXPORT AbstractTreeNode {
 public:
  explicit AbstractTreeNode(const PredicateKernel& kernel) : kernel_(kernel) {}
  AbstractTreeNode(const AbstractTreeNode&) = delete;
  AbstractTreeNode& operator=(const AbstractTreeNode&) = delete;
  virtual ~AbstractTreeNode();

  /// Appends a predicate name.
  void addChild(std::string_view name) { children_.append(name); }
  /// The predicate names (strings), in order.
  [[nodiscard]] const Array& children() const noexcept { return children_; }

  /// Evaluates the expression for one device value.
  ///
  /// attribute: the device's value. value: the expected value; may be null. references: attribute name -> reference
  /// value; null calls the predicates in their form without references.
  ///
  /// Returns a new record, or absent for a node without an operator, such as an object of this base class. Raises what
  /// the predicates raise.
  [[nodiscard]] virtual std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                          const Dictionary* references) const;

  /// Parses an expression into a tree. Predicate names are not looked up.
  ///
  /// predicateString: the expression; absent counts as an expression without words.
  ///
  /// Returns null with `error` set if the expression is malformed: code -100006 for a wrong operator in two or three
  /// words, -100007 for a wrong number of words.
  static std::unique_ptr<AbstractTreeNode> parsePredicateString(std::optional<std::string_view> predicateString,
                                                                const PredicateKernel& kernel,
                                                                std::optional<Error>& error);

 protected:
  [[nodiscard]] std::string_view child(std::size_t index) const { return *children_.at(index).ifString(); }

 private:
  const PredicateKernel& kernel_;
  Array children_;

  friend class SelectorTreeNode;
};

/// One predicate; evaluates to its record.
class TAVIK_EXPORT SelectorTreeNode : public AbstractTreeNode {
 public:
  SelectorTreeNode(const PredicateKernel& kernel, std::string_view predicateString);

  [[nodiscard]] std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                  const Dictionary* references) const override;

  /// Calls one predicate. If the kernel has no such predicate in the form called for, returns a failing record whose
  /// "actual" is "unknown predicate %@" with the full operation name ("foo:value:" or "foo:references:value:").
  [[nodiscard]] Dictionary processSelector(std::string_view selector, const Value* attribute, const Value* value,
                                           const Dictionary* references) const;

  /// Whether NOT, AND and OR must not combine this record. Returns false for every record, so the record of an unknown
  /// predicate is combined like any other, and NOT makes it pass. A host's own node may override this.
  [[nodiscard]] virtual bool isInvalidSelector(const Dictionary& record) const;

 protected:
  /// Combines the children's records by NOT, AND or OR.
  [[nodiscard]] Dictionary combined(PredicateExpression::Operator combination, const Value* attribute,
                                    const Value* value, const Dictionary* references) const;
};

/// NOT: the predicate's record with "result" negated and "expected" changed to "not %@".
class TAVIK_EXPORT NotTreeNode : public SelectorTreeNode {
 public:
  using SelectorTreeNode::SelectorTreeNode;

  [[nodiscard]] std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                  const Dictionary* references) const override;
};

/// AND: always calls both predicates. The record has three entries: "result", true if both pass, and "expected" and
/// "actual", both "%@ and %@".
class TAVIK_EXPORT AndTreeNode : public SelectorTreeNode {
 public:
  AndTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate);

  [[nodiscard]] std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                  const Dictionary* references) const override;
};

/// OR: always calls both predicates. The record has three entries: "result", true if either passes, "expected", "%@ or
/// %@", and "actual", the description of the left predicate's "actual" only.
class TAVIK_EXPORT OrTreeNode : public SelectorTreeNode {
 public:
  OrTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate);

  [[nodiscard]] std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                  const Dictionary* references) const override;
};

}  // namespace tavik

#endif
