/// @file
/// Predicate expressions (PredicateExpression.h) as trees of nodes that evaluate them.
///
///     std::optional<Error> error;
///     auto tree = AbstractTreeNode::parsePredicateString("hasPrefix AND isUppercase", kernel, error);
///     if (tree) Dictionary record = *tree->process(&attribute, &expected, nullptr);
///
/// A tree refers to its kernel and must not outlive it. It is immutable once made, and safe from any thread then.
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

/// A node: an operator with the names of the one or two predicates it is about.
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

  /// Evaluates the expression on one device value.
  ///
  /// attribute: the device's value. value: the expected value, or null. references: the reference values by attribute
  /// name, or null; they decide which form of a predicate is called. Returns a new record; absent for a node without an
  /// operator, which is what this class itself is. Raises what the predicates raise.
  [[nodiscard]] virtual std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                          const Dictionary* references) const;

  /// Makes the tree of an expression.
  ///
  /// predicateString: the expression; null counts as one without words. Returns null with `error` set when it is
  /// malformed: code -100006 for a wrong operator in two or three words, -100007 for a wrong number of words. Predicate
  /// names are not looked up here.
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

/// One predicate: its record as it is.
class TAVIK_EXPORT SelectorTreeNode : public AbstractTreeNode {
 public:
  SelectorTreeNode(const PredicateKernel& kernel, std::string_view predicateString);

  [[nodiscard]] std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                  const Dictionary* references) const override;

  /// Calls one predicate. A name that the kernel does not have in the form called for gives a failing record with
  /// "actual" "unknown predicate %@" and the full operation name ("foo:value:", "foo:references:value:").
  [[nodiscard]] Dictionary processSelector(std::string_view selector, const Value* attribute, const Value* value,
                                           const Dictionary* references) const;

  /// Whether a record keeps NOT, AND and OR from combining it. Never: the record of an unknown predicate is combined
  /// like any other, so NOT turns it into a passing one. A node of a host's own may decide otherwise.
  [[nodiscard]] virtual bool isInvalidSelector(const Dictionary& record) const;

 protected:
  /// What NOT, AND or OR makes of the children's records.
  [[nodiscard]] Dictionary combined(PredicateExpression::Operator combination, const Value* attribute,
                                    const Value* value, const Dictionary* references) const;
};

/// NOT: "result" negated, "expected" "not %@"; everything else of the predicate's record stays.
class TAVIK_EXPORT NotTreeNode : public SelectorTreeNode {
 public:
  using SelectorTreeNode::SelectorTreeNode;

  [[nodiscard]] std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                  const Dictionary* references) const override;
};

/// AND: both predicates are called, whatever the left one says. A record of three entries: "result" both, "expected"
/// and "actual" "%@ and %@".
class TAVIK_EXPORT AndTreeNode : public SelectorTreeNode {
 public:
  AndTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate);

  [[nodiscard]] std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                  const Dictionary* references) const override;
};

/// OR: both predicates are called. A record of three entries: "result" either, "expected" "%@ or %@", "actual" the text
/// of the left "actual" alone.
class TAVIK_EXPORT OrTreeNode : public SelectorTreeNode {
 public:
  OrTreeNode(const PredicateKernel& kernel, std::string_view leftPredicate, std::string_view rightPredicate);

  [[nodiscard]] std::optional<Dictionary> process(const Value* attribute, const Value* value,
                                                  const Dictionary* references) const override;
};

}  // namespace tavik

#endif
