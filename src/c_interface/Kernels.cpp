// Kernels, checks, lists, predicates, descriptions and decoders of the C interface.

#include <tavik/AbstractTree.h>
#include <tavik/ManifestParser.h>
#include <tavik/SystemConfig.h>

#include "c_interface/Handles.h"
#include "values/Text.h"

namespace tavik::c {

namespace {

const Platform& platformOf(const tavik_platform* handle) {
  requireHandle(handle, Tag::kPlatform, "platform");
  return *handle->platform;
}

const ZRTTavikKernel& kernelOf(const tavik_kernel* handle) {
  requireHandle(handle, Tag::kKernel, "kernel");
  return *handle->kernel;
}

const PreparedRules& rulesOf(const tavik_rules* handle) {
  requireHandle(handle, Tag::kRules, "rules");
  return *handle->rules;
}

// For evaluation without a platform: has no log. Predicates validate no documents.
class SilentPlatform : public Platform {
 public:
  std::optional<Value> validatedPropertyListFromSignedDictionary(const Dictionary& /*signedDictionary*/,
                                                                 const std::string& /*publicKeyPath*/,
                                                                 std::optional<std::string>& error) const override {
    error = "no platform";
    return std::nullopt;
  }
  bool logs() const override { return false; }
};

std::shared_ptr<const Platform> platformOrSilence(const tavik_platform* handle) {
  if (handle == nullptr) return std::make_shared<const SilentPlatform>();
  static_cast<void>(platformOf(handle));
  return handle->platform;
}

// The caller's station dictionary, which is updated however the check ends. The check changes a copy, so that the
// caller may pass the same dictionary as another argument too.
class Station {
 public:
  explicit Station(tavik_value* handle) : handle_(handle) {
    if (handle == nullptr) return;
    dictionary_ = dictionaryOf(handle, "station");
    if (tagOf(handle) != Tag::kValue) fail(TAVIK_BAD_HANDLE, "station");
  }
  Station(const Station&) = delete;
  Station& operator=(const Station&) = delete;
  ~Station() {
    if (handle_ != nullptr) handle_->value = std::move(*dictionary_);
  }
  [[nodiscard]] Dictionary* dictionary() noexcept { return dictionary_ ? &*dictionary_ : nullptr; }

 private:
  tavik_value* handle_;
  std::optional<Dictionary> dictionary_;
};

// The body of both checks: `check(device, sources, station, error)`.
template <class Check>
tavik_status runCheck(const tavik_value* device, const tavik_value* sources, tavik_value* station,
                      tavik_value** records, tavik_error** error, Check check) noexcept {
  return guarded(error, [&] {
    Output out(records, "records");
    const Dictionary& attributes = dictionaryOf(device, "device");
    const Dictionary* references = dictionaryOrNull(sources, "sources");
    std::unique_ptr<tavik_value> made;
    std::optional<Error> raised;
    {
      Station own(station);
      auto gathered = check(attributes, references, own.dictionary(), raised);
      if (gathered) made = std::make_unique<tavik_value>(*std::move(gathered));
    }
    const tavik_status status = giveKernelError(raised, error);
    out.set(std::move(made));
    return status;
  });
}

// The body of both runs: `run(device, sources, station)`.
template <class Run>
tavik_status runDevice(const tavik_value* device, const tavik_value* sources, const tavik_value* station,
                       tavik_outcome** outcome, tavik_error** error, Run run) noexcept {
  return guarded(error, [&] {
    Output out(outcome, "outcome");
    const Dictionary* before = dictionaryOrNull(station, "station");
    out.make(run(dictionaryOf(device, "device"), dictionaryOrNull(sources, "sources"),
                 before == nullptr ? Dictionary() : *before));
  });
}

// The body of the three functions that make kernels.
template <class Library>
tavik_status makeKernel(Library library, const tavik_platform* platform, tavik_kernel** kernel,
                        tavik_error** error) noexcept {
  return guarded(error, [&] {
    Output out(kernel, "kernel");
    static_cast<void>(platformOf(platform));
    Reason why;
    auto made = ZRTTavikKernel::init(library(), platform->platform, why);
    if (made == nullptr) throw Failure{TAVIK_REFUSED, replacingIllFormedUtf8(why.description)};
    out.make(std::move(made));
  });
}

const CheckOutcome& outcomeOf(const tavik_outcome* handle) {
  requireHandle(handle, Tag::kOutcome, "outcome");
  return handle->outcome;
}

// Null if there is a verdict, or no outcome.
const Reason* reasonOf(const tavik_outcome* handle) noexcept {
  if (handle == nullptr || tagOf(handle) != Tag::kOutcome || !handle->outcome.reason) return nullptr;
  return &*handle->outcome.reason;
}

using List = std::optional<Dictionary> (ZRTTavikKernel::*)(const Dictionary&, const Dictionary&,
                                                           std::optional<Error>&) const;

// The body of the five lists.
tavik_status giveList(List list, const tavik_kernel* kernel, const tavik_value* localRules, const tavik_value* device,
                      tavik_value** out, tavik_error** error) noexcept {
  return guarded(error, [&]() -> tavik_status {
    Output output(out, "list");
    std::optional<Error> raised;
    auto entries =
        (kernelOf(kernel).*list)(dictionaryOf(localRules, "local_rules"), dictionaryOf(device, "device"), raised);
    if (!entries) return giveKernelError(raised, error);
    output.make(*std::move(entries));
    return TAVIK_OK;
  });
}

using ManifestDecoder = std::optional<Dictionary> (*)(const Dictionary& container);

tavik_status decodeManifest(ManifestDecoder decode, const char* key, const void* bytes, std::size_t length,
                            tavik_value** items) noexcept {
  return give(items, nullptr, [&] {
    auto decoded = decode({{key, Data(bytesOf(bytes, length))}});
    if (!decoded) fail(TAVIK_REFUSED, "manifest");
    return *std::move(decoded);
  });
}

}  // namespace

}  // namespace tavik::c

using tavik::Dictionary;
using tavik::Error;
using tavik::ZRTTavikKernel;
using namespace tavik::c;

tavik_status tavik_kernel_new(const char* library_path, const tavik_platform* platform, tavik_kernel** kernel,
                              tavik_error** error) {
  const auto path = [&] {
    require(library_path, "library_path");
    return std::string(library_path);
  };
  return makeKernel(path, platform, kernel, error);
}

tavik_status tavik_kernel_new_from_document(const tavik_value* library, const tavik_platform* platform,
                                            tavik_kernel** kernel, tavik_error** error) {
  return makeKernel([&] { return dictionaryOf(library, "library"); }, platform, kernel, error);
}

tavik_status tavik_kernel_new_from_bytes(const void* bytes, size_t length, const tavik_platform* platform,
                                         tavik_kernel** kernel, tavik_error** error) {
  return makeKernel([&] { return bytesOf(bytes, length); }, platform, kernel, error);
}

tavik_status tavik_kernel_release(tavik_kernel** kernel) { return release(kernel); }

tavik_status tavik_kernel_check(const tavik_kernel* kernel, const tavik_value* device, const tavik_value* local_rules,
                                const tavik_value* sources, tavik_value* station, tavik_value** records,
                                tavik_error** error) {
  return runCheck(device, sources, station, records, error,
                  [&](const Dictionary& attributes, const Dictionary* references, Dictionary* forSfc,
                      std::optional<Error>& raised) {
                    return kernelOf(kernel).check(attributes, dictionaryOrNull(local_rules, "local_rules"), references,
                                                  forSfc, raised);
                  });
}

tavik_status tavik_kernel_prepare(const tavik_kernel* kernel, const tavik_value* local_rules, tavik_rules** rules,
                                  tavik_error** error) {
  return guarded(error, [&] {
    Output out(rules, "rules");
    out.make(kernelOf(kernel).prepare(dictionaryOrNull(local_rules, "local_rules")));
  });
}

tavik_status tavik_rules_check(const tavik_rules* rules, const tavik_value* device, const tavik_value* sources,
                               tavik_value* station, tavik_value** records, tavik_error** error) {
  return runCheck(
      device, sources, station, records, error,
      [&](const Dictionary& attributes, const Dictionary* references, Dictionary* forSfc,
          std::optional<Error>& raised) { return rulesOf(rules).check(attributes, references, forSfc, raised); });
}

tavik_status tavik_rules_release(tavik_rules** rules) { return release(rules); }

const char* tavik_rules_rejection(const tavik_rules* rules) {
  if (rules == nullptr || tagOf(rules) != Tag::kRules) return nullptr;
  const tavik::Reason* rejection = rules->rules->rejection();
  return rejection == nullptr ? nullptr : rejection->description.c_str();
}

tavik_status tavik_kernel_run(const tavik_kernel* kernel, const tavik_value* device, const tavik_value* local_rules,
                              const tavik_value* sources, const tavik_value* station, tavik_outcome** outcome,
                              tavik_error** error) {
  return runDevice(device, sources, station, outcome, error,
                   [&](const Dictionary& attributes, const Dictionary* references, Dictionary before) {
                     return kernelOf(kernel).run(attributes, dictionaryOrNull(local_rules, "local_rules"), references,
                                                 std::move(before));
                   });
}

tavik_status tavik_rules_run(const tavik_rules* rules, const tavik_value* device, const tavik_value* sources,
                             const tavik_value* station, tavik_outcome** outcome, tavik_error** error) {
  return runDevice(device, sources, station, outcome, error,
                   [&](const Dictionary& attributes, const Dictionary* references, Dictionary before) {
                     return rulesOf(rules).run(attributes, references, std::move(before));
                   });
}

int32_t tavik_outcome_verdict(const tavik_outcome* outcome) {
  if (outcome == nullptr || tagOf(outcome) != Tag::kOutcome) return TAVIK_NO_VERDICT;
  switch (outcome->outcome.verdict) {
    case tavik::Verdict::kPassed:
      return TAVIK_PASSED;
    case tavik::Verdict::kFailed:
      return TAVIK_FAILED;
    case tavik::Verdict::kNone:
      break;
  }
  return TAVIK_NO_VERDICT;
}

const char* tavik_outcome_reason(const tavik_outcome* outcome) {
  const tavik::Reason* reason = reasonOf(outcome);
  return reason == nullptr ? "" : reason->word().data();
}

const char* tavik_outcome_description(const tavik_outcome* outcome) {
  const tavik::Reason* reason = reasonOf(outcome);
  return reason == nullptr ? "" : reason->description.c_str();
}

const char* tavik_outcome_rule(const tavik_outcome* outcome) {
  const tavik::Reason* reason = reasonOf(outcome);
  return reason == nullptr || !reason->rule ? "" : reason->rule->c_str();
}

tavik_status tavik_outcome_fault(const tavik_outcome* outcome) {
  if (reasonOf(outcome) == nullptr || !outcome->outcome.fault) return TAVIK_OK;
  const bool isRange = outcome->outcome.fault->category == tavik::Fault::Category::kRange;
  return isRange ? TAVIK_FAULT_OUT_OF_RANGE : TAVIK_FAULT_INVALID_ARGUMENT;
}

tavik_status tavik_outcome_error(const tavik_outcome* outcome, tavik_error** error) {
  return guarded(nullptr, [&] {
    const Output out(error, "error");
    static_cast<void>(giveKernelError(outcomeOf(outcome).error, error));
  });
}

tavik_status tavik_outcome_records(const tavik_outcome* outcome, tavik_value** records) {
  return give(records, nullptr, [&] {
    const auto& all = outcomeOf(outcome).records;
    if (!all) fail(TAVIK_NOT_FOUND, "records");
    return *all;
  });
}

tavik_status tavik_outcome_rule_records(const tavik_outcome* outcome, tavik_value** records) {
  return give(records, nullptr, [&] {
    tavik::Array all;
    for (const tavik::Value& record : outcomeOf(outcome).ruleRecords()) all.append(record);
    return all;
  });
}

tavik_status tavik_outcome_station(const tavik_outcome* outcome, tavik_value** station) {
  return give(station, nullptr, [&] { return outcomeOf(outcome).station; });
}

tavik_status tavik_outcome_provenance(const tavik_outcome* outcome, tavik_value** provenance) {
  return give(provenance, nullptr, [&] { return outcomeOf(outcome).provenance->dictionary(); });
}

tavik_status tavik_outcome_release(tavik_outcome** outcome) { return release(outcome); }

tavik_status tavik_kernel_sfc_check_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                         const tavik_value* device, tavik_value** list, tavik_error** error) {
  return giveList(&ZRTTavikKernel::sfcCheckList, kernel, local_rules, device, list, error);
}

tavik_status tavik_kernel_gui_check_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                         const tavik_value* device, tavik_value** list, tavik_error** error) {
  return giveList(&ZRTTavikKernel::guiCheckList, kernel, local_rules, device, list, error);
}

tavik_status tavik_kernel_sim_check_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                         const tavik_value* device, tavik_value** list, tavik_error** error) {
  return giveList(&ZRTTavikKernel::simCheckList, kernel, local_rules, device, list, error);
}

tavik_status tavik_kernel_domain_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                      const tavik_value* device, tavik_value** list, tavik_error** error) {
  return giveList(&ZRTTavikKernel::getDomainList, kernel, local_rules, device, list, error);
}

tavik_status tavik_kernel_polling_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                       const tavik_value* device, tavik_value** list, tavik_error** error) {
  return giveList(&ZRTTavikKernel::getPollingList, kernel, local_rules, device, list, error);
}

tavik_status tavik_evaluate(const char* expression, const tavik_value* attribute, const tavik_value* references,
                            const tavik_value* value, const tavik_platform* platform, tavik_value** record,
                            tavik_error** error) {
  return guarded(error, [&]() -> tavik_status {
    Output out(record, "record");
    const tavik::PredicateKernel kernel(platformOrSilence(platform));
    std::optional<Error> raised;
    const auto tree =
        tavik::AbstractTreeNode::parsePredicateString(textOf(expression, TAVIK_TO_NUL, "expression"), kernel, raised);
    if (tree == nullptr) return giveKernelError(raised, error);
    out.make(*tree->process(valueOrNull(attribute, "attribute"), valueOrNull(value, "value"),
                            dictionaryOrNull(references, "references")));
    return TAVIK_OK;
  });
}

tavik_status tavik_value_in_list_description(const tavik_value* attribute, const tavik_value* expected,
                                             tavik_value** record, tavik_error** error) {
  return give(record, error, [&] {
    return ZRTTavikKernel::valueInListDescription(valueOrNull(attribute, "attribute"),
                                                  valueOrNull(expected, "expected"));
  });
}

tavik_status tavik_nand_size_check_description(const tavik_value* device, const tavik_value* expected,
                                               tavik_value** record, tavik_error** error) {
  return give(record, error, [&] {
    return ZRTTavikKernel::nandSizeCheckDescription(dictionaryOf(device, "device"), valueOrNull(expected, "expected"));
  });
}

tavik_status tavik_nvram_white_list_description(const tavik_value* attribute, const tavik_value* expected,
                                                tavik_value** record, tavik_error** error) {
  return give(record, error, [&] {
    return ZRTTavikKernel::nvramWhiteListDescription(valueOrNull(attribute, "attribute"),
                                                     valueOrNull(expected, "expected"));
  });
}

tavik_status tavik_decode_syscfg(const void* bytes, size_t length, tavik_value** fields) {
  return give(fields, nullptr, [&] {
    const tavik::Data blob(bytesOf(bytes, length));
    return tavik::SystemConfig::sysCfgFromData(&blob);
  });
}

tavik_status tavik_decode_control_bits(const void* bytes, size_t length, tavik_value** records) {
  return give(records, nullptr, [&] {
    const tavik::Data block(bytesOf(bytes, length));
    return tavik::SystemConfig::controlBitsFromData(&block);
  });
}

tavik_status tavik_decode_root_manifest(const void* bytes, size_t length, tavik_value** items) {
  return decodeManifest(tavik::ManifestParser::rootDictFromData, "RootManifestData", bytes, length, items);
}

tavik_status tavik_decode_provisioning_manifest(const void* bytes, size_t length, tavik_value** items) {
  return decodeManifest(tavik::ManifestParser::provisioningDictFromData, "ProvisioningManifestData", bytes, length,
                        items);
}
