#include "rules/RuleDocuments.h"

#include <optional>

#include "ExitStatus.h"
#include "io/ArgumentName.h"

namespace tavik::tool {
namespace {

[[noreturn]] void reject(const std::string& name, const std::string& why) {
  throw Failure(ExitStatus::kNoVerdict, name + ": " + why + std::string(hintForUntrusted(why)));
}

}  // namespace

bool hasLayers(const Dictionary& document) {
  return document.contains("MPNRules") || document.contains("GenericRules") || document.contains("RuleSets");
}

bool areSwapped(const Dictionary& library, const Dictionary& localRules) {
  return hasLayers(library) && !hasLayers(localRules);
}

Dictionary validatedContent(const std::string& name, const Dictionary& document, const HostPlatform& platform,
                            DocumentRole role, DocumentProvenance* provenance) {
  const ValidatedDocument validated = platform.validate(document, ZRTTavikKernel::kPublicKeyPath, role);
  if (validated.errorDescription) reject(name, *validated.errorDescription);
  const Dictionary* const entries = validated.content ? validated.content->ifDictionary() : nullptr;
  if (entries == nullptr || entries->empty()) reject(name, "the document is empty");
  if (provenance != nullptr) {
    *provenance = validated.provenance;
    if (const Value* const version = entries->find("version")) provenance->version = description(version);
  }
  return *entries;
}

std::unique_ptr<ZRTTavikKernel> openKernel(const std::string& name, const Dictionary& library,
                                           const std::shared_ptr<const HostPlatform>& platform) {
  Reason why;
  std::unique_ptr<ZRTTavikKernel> kernel = ZRTTavikKernel::init(library, platform, why);
  if (!kernel) reject(name, why.text());
  return kernel;
}

void requireVersion(const std::string& name, const Dictionary& content) {
  if (!content.contains("version")) reject(name, "\"version\" is missing");
}

void requireWellFormed(const std::string& name, const Dictionary& rules, const ZRTTavikKernel& kernel) {
  constexpr int kMalformed = -100003;  // also an unknown part number, which does not matter here
  Dictionary forAll = rules;
  if (forAll.findDictionary("MPNRules") != nullptr) forAll.erase("MPNRules");
  std::optional<Error> error;
  if (!kernel.makeDeviceRules(forAll, {}, error) && error->code() == kMalformed) {
    reject(name, std::string(error->localizedDescription()));
  }
}

std::unique_ptr<ZRTTavikKernel> readLibrary(Inputs& inputs, std::string_view argument, const std::string& path,
                                            const std::shared_ptr<const HostPlatform>& platform) {
  const std::string name = nameOf(argument, path);
  std::unique_ptr<ZRTTavikKernel> kernel = openKernel(name, inputs.ruleDocument(argument, path), platform);
  requireVersion(name, kernel->library());
  return kernel;
}

std::unique_ptr<const PreparedRules> readLocalRules(Inputs& inputs, std::string_view argument, const std::string& path,
                                                    const ZRTTavikKernel& kernel) {
  const std::string name = nameOf(argument, path);
  const Dictionary document = inputs.ruleDocument(argument, path);
  std::unique_ptr<const PreparedRules> rules = kernel.prepare(&document);
  if (const Reason* const why = rules->rejection()) reject(name, why->text());
  requireVersion(name, rules->localRules());
  if (areSwapped(kernel.library(), rules->localRules())) reject(name, std::string(kSwapped));
  return rules;
}

}  // namespace tavik::tool
