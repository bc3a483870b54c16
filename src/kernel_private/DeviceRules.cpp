// Device rule assembly: the local rules' entries for one device, completed with the rule library's definitions.

#include <tavik/ZRTTavikKernel.h>

#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

constexpr std::int32_t kUnknownDevice = -100003;
constexpr std::int32_t kUnknownRuleSet = -100004;

constexpr std::string_view kRegionRules = "RegionRules";

// Where the local rules ask for a dictionary: sets the error for a value of any other kind.
class EntryReader {
 public:
  EntryReader(const PredicateKernel& kernel, std::optional<Error>& error) : kernel_(kernel), error_(error) {}

  // Null with the error set when `value`, found under `key`, is no dictionary.
  const Dictionary* dictionary(const Value& value, std::string_view key) {
    if (const Dictionary* found = value.ifDictionary()) return found;
    fail(kUnknownDevice, "malformed local rules: \"%@\" is not a dictionary", key);
    return nullptr;
  }

  // The dictionary under an optional key; an empty one when there is none.
  const Dictionary* optionalDictionary(const Dictionary& rules, std::string_view key) {
    const Value* value = rules.find(key);
    return value == nullptr ? &kNone : dictionary(*value, key);
  }

  void fail(std::int32_t code, std::string_view pattern, const FormatArgument& argument) {
    error_ = kernel_.handleError(code, format(pattern, {argument}));
  }

 private:
  inline static const Dictionary kNone;
  const PredicateKernel& kernel_;
  std::optional<Error>& error_;
};

}  // namespace

std::optional<Dictionary> ZRTTavikKernel::makeMPNRCRules(const Value* partNumber, const Value* RC,
                                                         const Dictionary& fromRules,
                                                         std::optional<Error>& error) const {
  EntryReader reader(*this, error);
  Dictionary selected;
  const Value* tableValue = fromRules.find("MPNRules");
  if (tableValue == nullptr) return selected;
  const Dictionary* table = reader.dictionary(*tableValue, "MPNRules");
  if (table == nullptr) return std::nullopt;
  const Value* entryValue = find(table, partNumber);
  if (entryValue == nullptr) return reader.fail(kUnknownDevice, "unknown MPN:%@", partNumber), std::nullopt;
  const Dictionary* entry = reader.dictionary(*entryValue, *partNumber->ifString());
  if (entry == nullptr) return std::nullopt;
  for (auto item = entry->begin(); item != entry->end(); ++item) {
    if (item.key().ifString() != kRegionRules) {
      ValueAccess::set(selected, item.key(), item.value());
      continue;
    }
    const Dictionary* regions = reader.dictionary(item.value(), kRegionRules);
    if (regions == nullptr) return std::nullopt;
    const Value* region = find(regions, RC);
    if (region == nullptr) return reader.fail(kUnknownDevice, "unknown Region Code:%@", RC), std::nullopt;
    const Dictionary* regionRules = reader.dictionary(*region, *RC->ifString());
    if (regionRules == nullptr) return std::nullopt;
    selected.setAll(*regionRules);
  }
  return selected;
}

bool ZRTTavikKernel::expandRuleSets(const Dictionary& rules, Dictionary& deviceRules,
                                    std::optional<Error>& error) const {
  EntryReader reader(*this, error);
  const Dictionary* sets = reader.optionalDictionary(rules, "RuleSets");
  if (sets == nullptr) return false;
  const Dictionary snapshot = deviceRules;
  for (const auto [key, entry] : snapshot) {
    if (!key.ends_with("RuleSet")) continue;
    const Value* setValue = sets->find(key);
    if (setValue == nullptr) return reader.fail(kUnknownRuleSet, "unknown RuleSet:%@", key), false;
    const Dictionary* set = reader.dictionary(*setValue, key);
    if (set == nullptr) return false;
    deviceRules.erase(key);
    deviceRules.setAll(*set);
  }
  return true;
}

std::optional<Dictionary> ZRTTavikKernel::makeDeviceRules(const Dictionary& rules, const Dictionary& forDevice,
                                                          std::optional<Error>& error) const {
  EntryReader reader(*this, error);
  auto entries = makeMPNRCRules(forDevice.find("ModelNumber"), forDevice.find("RegionInfo"), rules, error);
  if (!entries) return std::nullopt;
  const Dictionary* generic = reader.optionalDictionary(rules, "GenericRules");
  if (generic == nullptr) return std::nullopt;
  entries->setAll(*generic);
  if (!expandRuleSets(rules, *entries, error)) return std::nullopt;

  // "extra-rules" is never looked into: it would be only if there were no table of entries at all.
  Dictionary deviceRules;
  deviceRules.reserve(entries->size());
  for (auto item = entries->begin(); item != entries->end(); ++item) {
    const auto [name, entryValue] = *item;
    log(platform(), "making local rule %@", {name});
    const Dictionary* entry = reader.dictionary(entryValue, name);
    if (entry == nullptr) return std::nullopt;
    const Dictionary* definition = rules_.findDictionary(name);
    Dictionary rule = definition == nullptr ? Dictionary() : *definition;
    if (const Value* value = entry->find("value")) rule.set("value", *value);
    ValueAccess::set(deviceRules, item.key(), std::move(rule));
  }
  return deviceRules;
}

}  // namespace tavik
