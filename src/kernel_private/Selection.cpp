#include "kernel_private/Selection.h"

#include <string_view>

#include "values/DictionaryKey.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

constexpr std::int32_t kUnknownDevice = -100003;

const Dictionary* dictionaryUnder(const Value& value, std::string_view key, std::optional<AssemblyFailure>& failure) {
  const Dictionary* found = value.ifDictionary();
  if (found == nullptr) failure = malformed(key);
  return found;
}

// The dictionary of a part number or region. Null with `failure` set if there is none; `unknown` is the start of its
// text.
const Dictionary* selected(const Dictionary& table, const Value* name, std::string_view unknown,
                           std::optional<AssemblyFailure>& failure) {
  const Value* entry = find(&table, name);
  if (entry != nullptr) return dictionaryUnder(*entry, *name->ifString(), failure);
  failure = {kUnknownDevice, format("unknown %@:%@", {unknown, name})};
  return nullptr;
}

}  // namespace

AssemblyFailure malformed(std::string_view key) {
  return {kUnknownDevice, format("malformed local rules: \"%@\" is not a dictionary", {key})};
}

std::optional<Selection> select(const Dictionary& rules, const Value* partNumber, const Value* region,
                                std::optional<AssemblyFailure>& failure) {
  Selection selection;
  const Value* tableValue = find(&rules, "MPNRules");
  if (tableValue == nullptr) return selection;
  const Dictionary* table = dictionaryUnder(*tableValue, "MPNRules", failure);
  if (table == nullptr) return std::nullopt;
  selection.partNumber = selected(*table, partNumber, "MPN", failure);
  if (selection.partNumber == nullptr) return std::nullopt;
  const Value* regionsValue = find(selection.partNumber, kRegionRules);
  if (regionsValue == nullptr) return selection;
  const Dictionary* regions = dictionaryUnder(*regionsValue, kRegionRules, failure);
  if (regions == nullptr) return std::nullopt;
  selection.region = selected(*regions, region, "Region Code", failure);
  return selection.region == nullptr ? std::nullopt : std::optional(selection);
}

std::optional<Selection> select(const Dictionary& rules, const Dictionary& device,
                                std::optional<AssemblyFailure>& failure) {
  static const detail::KnownKey kPartNumber(std::string_view("ModelNumber"));
  static const detail::KnownKey kRegion(std::string_view("RegionInfo"));
  return select(rules, kPartNumber.find(device), kRegion.find(device), failure);
}

}  // namespace tavik
