// The evaluation of one rule, for hosts that inspect it.

#include <tavik/RuleEvaluation.h>
#include <tavik/ZRTTavikKernel.h>

#include "kernel/Faults.h"
#include "kernel/RuleRun.h"
#include "kernel_private/AttributeExpansion.h"
#include "values/MaybeAbsent.h"

namespace tavik {

std::string RuleEvaluation::Call::operation() const {
  return word + (withReferences ? ":references:value:" : ":value:");
}

RuleEvaluator::RuleEvaluator(PredicateKernel kernel, Dictionary attributes, Dictionary sources)
    : kernel_(std::move(kernel)), attributes_(std::move(attributes)), sources_(std::move(sources)) {
  expandAttributes(attributes_);
}

RuleEvaluation RuleEvaluator::evaluate(const RuleOrigin& rule) const {
  const Value name(rule.name);
  const PreparedRule prepared(name, *rule.entries.back().content->ifDictionary(), rule.definition);
  RuleEvaluation evaluation;
  Records records(1);
  RuleRun run(kernel_, {attributes_, &sources_, nullptr, evaluation.error}, records, &evaluation);
  evaluation.fault = faultOf([&] {
    if (run.add(prepared)) evaluation.record = records.last();
  });
  return evaluation;
}

}  // namespace tavik
