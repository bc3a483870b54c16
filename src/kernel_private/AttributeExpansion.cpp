// Expands packed device attributes into separate attributes named PREFIX.FIELD.

#include <tavik/ManifestParser.h>
#include <tavik/SystemConfig.h>
#include <tavik/ZRTTavikKernel.h>

#include "values/MaybeAbsent.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

void ZRTTavikKernel::expandSysConfigData(Dictionary& attributes) {
  const Data* blob = dataOf(find(&attributes, "SysCfgData"));
  if (blob == nullptr) return;
  renameKeys(attributes, SystemConfig::sysCfgFromData(blob), "SysCfgData");
}

void ZRTTavikKernel::expandBasebandManifestData(Dictionary& attributes) {
  static const Value kManifests = "BasebandFirmwareManifestData";
  const Dictionary* manifests = dictionaryOf(find(&attributes, &kManifests));
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
