#include "rules/RuleNotes.h"

#include <tavik/StationPlatform.h>

#include <algorithm>
#include <memory>

namespace tavik::tool {
namespace {

const PredicateKernel& silentKernel() {
  static const PredicateKernel kernel(std::make_shared<StationPlatform>(std::nullopt, StationPlatform::Log::kNone));
  return kernel;
}

std::string_view adviceForMissing(const RuleEvaluation::Operand& operand) {
  if (!operand.name) return kRulesAtFault;
  if (!operand.source) {
    return "The device gave no such value. Find out why it was not read, or never written; then collect the values "
           "again.";
  }
  return *operand.source == "gui"
             ? "The operator was not asked, or gave no answer: ask, then check the device again."
             : "This source has no such value for the device: have it entered there, then check the device again.";
}

}  // namespace

RuleNotes::RuleNotes(const Dictionary& attributes, const Dictionary& sources, const RuleOrigins& origins)
    : evaluator_(silentKernel(), attributes, sources) {
  std::optional<Error> error;
  const Dictionary& device = evaluator_.attributes();
  device_ = origins.of(device.find("ModelNumber"), device.find("RegionInfo"), error);
}

std::optional<RuleNotes::Note> RuleNotes::at(std::size_t number) const {
  if (!device_ || number >= device_->rules.size()) return std::nullopt;
  const RuleOrigin& rule = device_->rules[number];
  return Note{&rule, evaluator_.evaluate(rule)};
}

std::optional<RuleNotes::Note> RuleNotes::of(std::string_view name) const {
  if (!device_) return std::nullopt;
  const auto rule = std::ranges::find(device_->rules, name, &RuleOrigin::name);
  return at(static_cast<std::size_t>(rule - device_->rules.begin()));
}

std::string_view adviceFor(const RuleEvaluation& evaluation) {
  if (evaluation.wantsAbsence) return "This must not be on the device: take it off.";
  if (!evaluation.attribute.value) return adviceForMissing(evaluation.attribute);
  for (const RuleEvaluation::Operand& reference : evaluation.references) {
    if (!reference.value) return adviceForMissing(reference);
  }
  const auto wasCalled = [](const RuleEvaluation::Call& call) { return call.isKnown && call.record; };
  return std::ranges::all_of(evaluation.calls, wasCalled) ? "" : kRulesAtFault;
}

}  // namespace tavik::tool
