/// @file
/// The evaluation of rules for one device: collect the operands, call the predicates, combine, record.
#ifndef TAVIK_KERNEL_RULE_RUN_H
#define TAVIK_KERNEL_RULE_RUN_H

#include <tavik/Error.h>
#include <tavik/PredicateKernel.h>
#include <tavik/RuleEvaluation.h>
#include <tavik/Value.h>

#include <optional>

#include "kernel/PreparedRule.h"
#include "kernel/Records.h"

namespace tavik {

/// The data that rules read and change.
struct RunContext {
  const Dictionary& attributes;  ///< the device's, with packed attributes expanded
  const Dictionary* sources;     ///< may be null
  Dictionary* station;           ///< may be null
  std::optional<Error>& error;
};

class RuleRun {
 public:
  /// notes: receives the steps of the evaluation; may be null.
  RuleRun(const PredicateKernel& kernel, const RunContext& context, Records& records, RuleEvaluation* notes = nullptr)
      : kernel_(kernel),
        context_(context),
        records_(records),
        notes_(notes),
        logs_(kernel.platform().logs()),
        isWatched_(logs_ || notes != nullptr) {}

  /// Adds the rule's record; returns false with the error set if its expression is malformed.
  bool add(const PreparedRule& rule);

 private:
  struct Missing {
    const Value* name;    // null: none
    const Value* source;  // null: the device
  };

  [[gnu::cold]] void begin(const PreparedRule& rule, const Value* attribute);
  [[gnu::cold]] void refuse(const PreparedRule& rule);
  [[gnu::cold]] void addAbsence(const PreparedRule& rule);
  void addMissing(const PreparedRule& rule);
  bool complete(Operands& operands, const PreparedRule& rule);
  void fetchValue(Operands& operands, const PreparedRule& rule);
  void fetchDictionary(Operands& operands, const PreparedRule& rule);
  template <class Store>
  void fetchReferences(const PreparedRule& rule, Store store);
  [[nodiscard]] const Value* fetch(const PreparedReference& reference) const;
  // isPrepared: whether the rule's prepared record has the expected text, as far as judged.
  Judgement judge(const PreparedCall& call, const Operands& operands, bool& isPrepared);
  void combine(Judgement& left, const PreparedRule& rule, const Operands& operands, bool& isPrepared);
  void addRecord(const PreparedRule& rule, Judgement&& judgement, bool isPrepared);
  void forward(const Value& value);

  [[gnu::cold]] void note(const PreparedRule& rule, const Value* attribute);
  [[gnu::cold]] void note(const PreparedReference& reference, const Value* value);
  [[gnu::cold]] void note(const Judgement& judgement);

  const PredicateKernel& kernel_;
  RunContext context_;
  Records& records_;
  RuleEvaluation* notes_;
  bool logs_;
  bool isWatched_;  // whether it logs or notes
  // Of the rule that is being evaluated:
  Dictionary references_;
  std::optional<Missing> missing_;  // the first thing that its attribute and references do not find
};

}  // namespace tavik

#endif
