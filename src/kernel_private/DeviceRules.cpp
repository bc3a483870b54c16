// Device rule assembly: the local entries for one device, completed with the rule library's definitions.

#include <tavik/ZRTTavikKernel.h>

#include <utility>

#include "kernel_private/DeviceLayers.h"
#include "kernel_private/EntryList.h"
#include "kernel_private/LocalEntries.h"
#include "values/DictionaryKey.h"
#include "values/MaybeAbsent.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

Error errorOf(const AssemblyFailure& failure, const PredicateKernel& kernel) {
  return kernel.handleError(failure.code, failure.message);
}

}  // namespace

std::optional<Dictionary> ZRTTavikKernel::makeMPNRCRules(const Value* partNumber, const Value* RC,
                                                         const Dictionary& fromRules,
                                                         std::optional<Error>& error) const {
  std::optional<AssemblyFailure> failure;
  if (const auto selection = select(fromRules, partNumber, RC, failure)) {
    const Dictionary nothingElse;
    return EntryList(DeviceLayers(nothingElse).of(*selection, nullptr)).dictionary();
  }
  error = errorOf(*failure, *this);
  return std::nullopt;
}

bool ZRTTavikKernel::expandRuleSets(const Dictionary& rules, Dictionary& deviceRules,
                                    std::optional<Error>& error) const {
  std::optional<AssemblyFailure> failure;
  Dictionary shared{{"GenericRules", deviceRules}};
  shared.setOrRemove("RuleSets", rules.find("RuleSets"));
  deviceRules = EntryList(DeviceLayers(shared).of({}, &failure)).dictionary();
  if (failure) error = errorOf(*failure, *this);
  return !failure;
}

std::optional<Dictionary> ZRTTavikKernel::makeDeviceRules(const Dictionary& rules, const Dictionary& forDevice,
                                                          std::optional<Error>& error) const {
  const LocalEntries local(rules, forDevice);
  if (auto failed = local.report(*this)) {
    error = std::move(failed);
    return std::nullopt;
  }
  Dictionary deviceRules;
  deviceRules.reserve(local.entries().size());
  for (const EntryList::Entry& entry : local.entries()) {
    const Dictionary* definition = dictionaryOf(ValueAccess::find(rules_, detail::Sought(*entry.name), entry.hash));
    ValueAccess::addNew(deviceRules, *entry.name, completedRule(definition, *entry.value->ifDictionary()));
  }
  return deviceRules;
}

}  // namespace tavik
