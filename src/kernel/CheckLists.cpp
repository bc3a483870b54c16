// The source-specific check lists: what a station must collect for a device before a check.

#include <tavik/ZRTTavikKernel.h>

#include "kernel_private/LocalEntries.h"
#include "values/DictionaryKey.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

constexpr std::int32_t kUntrusted = -100008;

void listReferences(const Dictionary& definition, std::string_view source, Dictionary& list) {
  const Array* references = definition.findArray("references");
  if (references == nullptr) return;
  for (const Value& element : *references) {
    const Dictionary* reference = element.ifDictionary();
    const auto from = textOf(find(reference, "source"));
    if (!from || !equalIgnoringCase(source, *from)) continue;
    const Value* name = findIfString(*reference, "attribute");
    if (name == nullptr) name = findIfString(definition, "attribute");
    if (name == nullptr) continue;
    const Value* text = reference->find("description");
    ValueAccess::set(list, *name, text == nullptr ? *name : *text);
  }
}

}  // namespace

// The common part of all lists: validates the local rules, assembles the device rules, and calls `visit` with the name
// and library definition of each rule, in order.
template <class Visit>
bool ZRTTavikKernel::visitDefinitions(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                      std::optional<Error>& error, Visit visit) const {
  error.reset();
  const ValidatedDocument validated = platform().validate(localRules, kPublicKeyPath, DocumentRole::kLocalRules);
  if (validated.errorDescription) {
    error = handleError(kUntrusted, *validated.errorDescription);
    return false;
  }
  const Dictionary* rules = validated.content ? validated.content->ifDictionary() : nullptr;
  static const Dictionary none;
  const LocalEntries local(rules == nullptr ? none : *rules, deviceAttributes);
  error = local.report(*this);
  if (error) return false;
  for (const EntryList::Entry& entry : local.entries()) {
    const Dictionary* definition = dictionaryOf(ValueAccess::find(rules_, detail::Sought(*entry.name), entry.hash));
    if (definition != nullptr) visit(*entry.name, *definition);
  }
  return true;
}

std::optional<Dictionary> ZRTTavikKernel::sourceSpecificCheckList(const Dictionary& localRules,
                                                                  std::string_view forSource,
                                                                  const Dictionary& deviceAttributes,
                                                                  std::optional<Error>& error) const {
  Dictionary list;
  const auto visit = [&](const Value&, const Dictionary& definition) { listReferences(definition, forSource, list); };
  return visitDefinitions(localRules, deviceAttributes, error, visit) ? std::optional(list) : std::nullopt;
}

std::optional<Dictionary> ZRTTavikKernel::sfcCheckList(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                       std::optional<Error>& error) const {
  auto list = sourceSpecificCheckList(localRules, "sfc", deviceAttributes, error);
  const Value logged = list ? Value(*list) : Value("(null)");
  log(platform(), "sfc check list;%@", logged);
  return list;
}

std::optional<Dictionary> ZRTTavikKernel::guiCheckList(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                       std::optional<Error>& error) const {
  return sourceSpecificCheckList(localRules, "gui", deviceAttributes, error);
}

std::optional<Dictionary> ZRTTavikKernel::simCheckList(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                       std::optional<Error>& error) const {
  Dictionary list;
  const auto visit = [&](const Value& name, const Dictionary& definition) {
    const auto attribute = definition.findString("attribute");
    if (attribute && equalIgnoringCase(*attribute, "IntegratedCircuitCardIdentity")) {
      ValueAccess::set(list, name, definition);
    }
  };
  return visitDefinitions(localRules, deviceAttributes, error, visit) ? std::optional(list) : std::nullopt;
}

std::optional<Dictionary> ZRTTavikKernel::entryList(const Dictionary& localRules, std::string_view key,
                                                    const Dictionary& deviceAttributes,
                                                    std::optional<Error>& error) const {
  Dictionary list;
  const auto visit = [&](const Value&, const Dictionary& definition) {
    const Value* entry = definition.find(key);
    if (entry != nullptr) list.set(format("%lu", {list.size()}), *entry);
  };
  return visitDefinitions(localRules, deviceAttributes, error, visit) ? std::optional(list) : std::nullopt;
}

std::optional<Dictionary> ZRTTavikKernel::getDomainList(const Dictionary& localRules,
                                                        const Dictionary& deviceAttributes,
                                                        std::optional<Error>& error) const {
  return entryList(localRules, "domain", deviceAttributes, error);
}

std::optional<Dictionary> ZRTTavikKernel::getPollingList(const Dictionary& localRules,
                                                         const Dictionary& deviceAttributes,
                                                         std::optional<Error>& error) const {
  return entryList(localRules, "poll", deviceAttributes, error);
}

}  // namespace tavik
