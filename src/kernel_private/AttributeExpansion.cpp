// Expands packed device attributes into separate attributes named PREFIX.FIELD.

#include "kernel_private/AttributeExpansion.h"

#include <tavik/ManifestParser.h>
#include <tavik/SystemConfig.h>
#include <tavik/ZRTTavikKernel.h>

#include <string_view>

#include "values/DictionaryKey.h"
#include "values/MaybeAbsent.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

const Data* sysConfigData(const Dictionary& attributes) {
  static const detail::KnownKey kKey(std::string_view("SysCfgData"));
  return dataOf(kKey.find(attributes));
}

const Dictionary* basebandManifests(const Dictionary& attributes) {
  static const detail::KnownKey kKey(std::string_view("BasebandFirmwareManifestData"));
  return dictionaryOf(kKey.find(attributes));
}

}  // namespace

bool hasPackedAttributes(const Dictionary& attributes) {
  return sysConfigData(attributes) != nullptr || basebandManifests(attributes) != nullptr;
}

void expandAttributes(Dictionary& attributes) {
  ZRTTavikKernel::expandSysConfigData(attributes);
  ZRTTavikKernel::expandBasebandManifestData(attributes);
}

void ZRTTavikKernel::expandSysConfigData(Dictionary& attributes) {
  const Data* blob = sysConfigData(attributes);
  if (blob == nullptr) return;
  renameKeys(attributes, SystemConfig::sysCfgFromData(blob), "SysCfgData");
}

void ZRTTavikKernel::expandBasebandManifestData(Dictionary& attributes) {
  const Dictionary* manifests = basebandManifests(attributes);
  if (manifests == nullptr) return;
  const auto provisioning = ManifestParser::provisioningDictFromData(*manifests);
  const auto root = ManifestParser::rootDictFromData(*manifests);
  if (provisioning) renameKeys(attributes, *provisioning, "ProvisioningManifestData");
  if (root) renameKeys(attributes, *root, "RootManifestData");
}

void ZRTTavikKernel::renameKeys(Dictionary& target, const Dictionary& withDictionary, std::string_view andPrefix) {
  constexpr std::size_t kBytesPerKey = 64;
  const Value prefix(std::string(andPrefix) + ".");
  detail::SlabCutter slabs(kBytesPerKey * withDictionary.size());
  for (const auto [key, value] : withDictionary) {
    detail::ValueAccess::set(target, detail::ValueAccess::joined({*prefix.ifString(), key}, &slabs), value);
  }
}

}  // namespace tavik
