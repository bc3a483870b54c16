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

// The platform of those who read no log. Nothing is validated by predicates.
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

// The station dictionary of a caller, who finds in it what a check left there, however the check ended. The check
// changes a copy, so that the caller may hand in the same one as something else too.
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
  return guarded(error, [&] {
    Output out(kernel, "kernel");
    require(library_path, "library_path");
    static_cast<void>(platformOf(platform));
    auto made = ZRTTavikKernel::init(library_path, platform->platform);
    if (made == nullptr) {
      throw Failure{TAVIK_REFUSED, "no kernel comes of \"" + tavik::replacingIllFormedUtf8(library_path) +
                                       "\": it cannot be read, is not trusted or holds no rules; the log says more"};
    }
    out.make(std::move(made));
  });
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
