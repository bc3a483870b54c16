// The check run.

#include "kernel/CheckRun.h"

#include <tavik/TavikKernelVersion.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <stdexcept>

#include "kernel/RuleMaker.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

constexpr std::string_view kLibraryVersion = "TavikRules version";
constexpr std::string_view kLocalVersion = "device Rules version";

// A document's "version" as text. Its record requires one.
Value versionText(std::string_view rule, const Dictionary& document, detail::SlabCutter& slabs) {
  const Value* version = find(&document, "version");
  if (version == nullptr) throw std::invalid_argument(format("%@: the document has no \"version\"", {rule}));
  return version->isString() ? detail::ValueAccess::copied(*version, slabs) : descriptionValue(version, &slabs);
}

std::optional<Array> check(const RuleDocuments& documents, const CheckCall& call, CheckProgress& progress) {
  if (documents.rejection) return rejected(documents, progress);
  CheckRun run(documents, call, progress);
  const LocalEntries local(documents.localRules, find(&call.device, "ModelNumber"), find(&call.device, "RegionInfo"));
  return run.over(local, [&](const auto& evaluate) {
    RuleMaker maker(documents.library);
    return std::ranges::all_of(local.entries(), [&](const auto& entry) { return evaluate(maker.make(entry)); });
  });
}

}  // namespace

Array rejected(const RuleDocuments& documents, CheckProgress& progress) {
  progress.end = documents.rejection->reason;
  return Array::of(documents.rejection->record);
}

CheckRun::CheckRun(const RuleDocuments& documents, const CheckCall& call, CheckProgress& progress)
    : documents_(documents), call_(call), progress_(progress) {
  ZRTTavikKernel::expandSysConfigData(call.device);
  ZRTTavikKernel::expandBasebandManifestData(call.device);
}

// Adds the records before those of rules; false if there are no rules to check.
bool CheckRun::begin(const LocalEntries& local, Records& records) {
  static const Value kVersion = formattedValue("%.4f", {TavikKernelVersionNumber});
  static const auto kKernelRecord = Records::templateFor("TavikKernel lib version", "current library");
  static const auto kLibraryRecord = Records::templateFor(kLibraryVersion, "current rules");
  static const auto kLocalRecord = Records::templateFor(kLocalVersion, "current rules");
  const Platform& platform = documents_.kernel.platform();
  records.add(kKernelRecord, true, Value(kVersion));
  records.add(kLibraryRecord, true, versionText(kLibraryVersion, documents_.library, records.slabs()));
  records.add(kLocalRecord, true, versionText(kLocalVersion, documents_.localRules, records.slabs()));
  const Value logged(call_.sources == nullptr ? Dictionary() : *call_.sources);
  log(platform, "sourcesForReferences: %@", call_.sources == nullptr ? nullptr : &logged);

  call_.error.reset();
  if (auto failed = local.report(documents_.kernel)) {
    call_.error = std::move(failed);
    const std::string_view why = call_.error->localizedDescription();
    records.add("failed to build device specific rule list", false, why, "valid rule lists");
    progress_.end = Reason{Reason::Category::kNotAssembled, std::string(why)};
    return false;
  }
  if (!local.entries().empty()) return true;
  records.add("Device Rules", false, "no rules specified", "valid rule lists");
  progress_.end = Reason{Reason::Category::kNoRules, "the local rules have no rules for this device"};
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
    outcome.reason = std::move(progress.end);
  } else {
    outcome.verdict = progress.pass ? Verdict::kPassed : Verdict::kFailed;
  }
}

std::optional<Array> ZRTTavikKernel::check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                           std::optional<Error>& error) const {
  Dictionary device = deviceAttributes;
  CheckProgress progress;
  return tavik::check(RuleDocuments(*this, rules_, provenance_, rules),
                      {device, sourcesForReferenceValues, attributesForSfc, error}, progress);
}

std::optional<Array> ZRTTavikKernel::check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues,
                                           std::optional<Error>& error) const {
  return check(deviceAttributes, rules, sourcesForReferenceValues, nullptr, error);
}

CheckOutcome ZRTTavikKernel::run(const Dictionary& deviceAttributes, const Dictionary* rules,
                                 const Dictionary* sourcesForReferenceValues, Dictionary station) const {
  const RuleDocuments documents(*this, rules_, provenance_, rules);
  Dictionary device = deviceAttributes;
  return outcomeOf(
      documents.provenance(), device, sourcesForReferenceValues, std::move(station),
      [&](const CheckCall& call, CheckProgress& progress) { return tavik::check(documents, call, progress); });
}

}  // namespace tavik
