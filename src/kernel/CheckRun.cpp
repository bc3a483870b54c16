// The check run.

#include "kernel/CheckRun.h"

#include <tavik/TavikKernelVersion.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <stdexcept>

#include "kernel/RuleMaker.h"
#include "kernel_private/AttributeExpansion.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

// A document's "version" as text. Its record requires one.
Value versionText(const Value& rule, const Dictionary& document) {
  const Value* version = find(&document, "version");
  if (version == nullptr) throw std::invalid_argument(format("%@: the document has no \"version\"", {rule}));
  return version->isString() ? *version : descriptionValue(version);
}

// The attributes that the rules read. They do not change when the run changes the station's attributes, or the host its
// own when it gets a log line.
const Dictionary& expanded(const CheckCall& call, bool logs) {
  if (!logs && call.station != &call.device && !hasPackedAttributes(call.device)) return call.device;
  call.expanded = call.device;
  expandAttributes(call.expanded);
  return call.expanded;
}

std::optional<Array> check(const RuleDocuments& documents, const CheckCall& call, CheckProgress& progress) {
  if (documents.rejection) return rejected(documents, progress);
  CheckRun run(documents, call, progress);
  const LocalEntries local(documents.localRules, run.attributes());
  Records records(CheckRun::mostRecords(local));
  for (VersionRecord& record : versionRecords(documents)) {
    records.add(record.rule, true, std::move(record.version), std::move(record.expected));
  }
  return run.over(local, std::move(records), [&](const auto& evaluate) {
    RuleMaker maker(documents.library);
    return std::ranges::all_of(local.entries(), [&](const auto& entry) { return evaluate(maker.make(entry)); });
  });
}

}  // namespace

Array rejected(const RuleDocuments& documents, CheckProgress& progress) {
  progress.end = std::make_unique<Reason>(documents.rejection->reason);
  return Array::of(documents.rejection->record);
}

std::array<VersionRecord, 3> versionRecords(const RuleDocuments& documents) {
  static const Value kKernel = "TavikKernel lib version";
  static const Value kLibrary = "TavikRules version";
  static const Value kLocal = "device Rules version";
  static const Value kKernelVersion = formattedValue("%.4f", {TavikKernelVersionNumber});
  return {{{kKernel, kKernelVersion, "current library"},
           {kLibrary, versionText(kLibrary, documents.library), "current rules"},
           {kLocal, versionText(kLocal, documents.localRules), "current rules"}}};
}

CheckRun::CheckRun(const RuleDocuments& documents, const CheckCall& call, CheckProgress& progress)
    : documents_(documents),
      call_(call),
      progress_(progress),
      attributes_(expanded(call, documents.kernel.platform().logs())) {}

// Returns whether there are rules to check. If not, adds a record with the reason.
bool CheckRun::begin(const LocalEntries& local, Records& records) {
  const Platform& platform = documents_.kernel.platform();
  if (platform.logs()) {
    const Value sources(call_.sources == nullptr ? Dictionary() : *call_.sources);
    log(platform, "sourcesForReferences: %@", call_.sources == nullptr ? nullptr : &sources);
  }
  call_.error.reset();
  if (auto failed = local.report(documents_.kernel)) {
    call_.error = std::move(failed);
    const std::string_view why = call_.error->localizedDescription();
    records.add("failed to build device specific rule list", false, why, "valid rule lists");
    progress_.end = std::make_unique<Reason>(Reason{Reason::Category::kNotAssembled, std::string(why)});
    return false;
  }
  if (!local.entries().empty()) return true;
  records.add("Device Rules", false, "no rules specified", "valid rule lists");
  progress_.end =
      std::make_unique<Reason>(Reason{Reason::Category::kNoRules, "the local rules have no rules for this device"});
  return false;
}

Array CheckRun::finish(Records&& records) {
  progress_.pass = records.pass();
  const Platform& platform = documents_.kernel.platform();
  log(platform, "%@",
      std::string_view("-(NSArray*)check:(NSDictionary*)deviceAttributes rules:(NSDictionary*)sLocalRules "
                       "sourcesForReferenceValues:(NSDictionary*)sources error:(NSError**)e\n"));
  Array all = std::move(records).take();
  log(platform, "return value:\n%@", all);
  return all;
}

void judge(CheckOutcome& outcome, CheckProgress progress) {
  const auto ended = [&](Reason::Category category, std::string_view why) {
    const auto rule = textOf(progress.rule);
    outcome.reason = Reason{category, std::string(why), rule ? std::optional<std::string>(*rule) : std::nullopt};
  };
  if (outcome.fault) {
    ended(Reason::Category::kFault, outcome.fault->message);
  } else if (!outcome.records) {
    ended(Reason::Category::kMalformedExpression, outcome.error->localizedDescription());
  } else if (progress.end) {
    outcome.reason = std::move(*progress.end);
  } else {
    outcome.verdict = progress.pass ? Verdict::kPassed : Verdict::kFailed;
  }
}

std::optional<Array> ZRTTavikKernel::check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                           std::optional<Error>& error) const {
  Dictionary expanded;
  CheckProgress progress;
  return tavik::check(RuleDocuments(*this, rules_, provenance_, rules),
                      {deviceAttributes, expanded, sourcesForReferenceValues, attributesForSfc, error}, progress);
}

std::optional<Array> ZRTTavikKernel::check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues,
                                           std::optional<Error>& error) const {
  return check(deviceAttributes, rules, sourcesForReferenceValues, nullptr, error);
}

CheckOutcome ZRTTavikKernel::run(const Dictionary& deviceAttributes, const Dictionary* rules,
                                 const Dictionary* sourcesForReferenceValues, Dictionary station) const {
  const RuleDocuments documents(*this, rules_, provenance_, rules);
  Dictionary expanded;
  return outcomeOf(
      documents.provenance(), deviceAttributes, expanded, sourcesForReferenceValues, std::move(station),
      [&](const CheckCall& call, CheckProgress& progress) { return tavik::check(documents, call, progress); });
}

}  // namespace tavik
