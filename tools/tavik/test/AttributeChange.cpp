#include "test/AttributeChange.h"

#include <tavik/ZRTTavikKernel.h>

namespace tavik::tool {
namespace {

struct PackedAttribute {
  std::string_view name;
  std::string_view prefix;  ///< of its fields
  void (*expand)(Dictionary& attributes);
};

constexpr PackedAttribute kPackedAttributes[] = {
    {"SysCfgData", "SysCfgData.", ZRTTavikKernel::expandSysConfigData},
    {"BasebandFirmwareManifestData", "ProvisioningManifestData.", ZRTTavikKernel::expandBasebandManifestData},
    {"BasebandFirmwareManifestData", "RootManifestData.", ZRTTavikKernel::expandBasebandManifestData},
};

const PackedAttribute* find(std::string_view field) {
  for (const PackedAttribute& packed : kPackedAttributes) {
    if (field.starts_with(packed.prefix)) return &packed;
  }
  return nullptr;
}

void unpackFor(std::string_view name, Dictionary& attributes) {
  const PackedAttribute* const packed = find(name);
  if (packed == nullptr) return;
  packed->expand(attributes);
  attributes.erase(packed->name);
}

}  // namespace

std::string_view packedAttributeOf(std::string_view name) {
  const PackedAttribute* const packed = find(name);
  return packed == nullptr ? "" : packed->name;
}

void setAttribute(Dictionary& attributes, std::string_view name, const Value& value) {
  unpackFor(name, attributes);
  attributes.set(name, value);
}

bool removeAttribute(Dictionary& attributes, std::string_view name) {
  unpackFor(name, attributes);
  return attributes.erase(name);
}

}  // namespace tavik::tool
