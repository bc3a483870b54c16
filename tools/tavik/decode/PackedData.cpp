#include "decode/PackedData.h"

#include <fmt/format.h>
#include <tavik/DERDecoder.h>

#include <limits>
#include <optional>

#include "text/Text.h"

namespace tavik::tool {
namespace {

std::string stopText(std::size_t offset, std::string_view reason) { return fmt::format("byte {}: {}", offset, reason); }

/// Where the members of the item set in `manifest` end early; empty if they reach its end.
std::string whyItemsStop(const Data& manifest, const DERDecoder& set) {
  for (std::uint32_t begin = 0; begin < set.length;) {
    DERDecoder item{};
    std::uint32_t length = 0;
    const std::uint32_t status = DERDecoderInitialize(&item, set.buffer + begin, &length, set.length - begin);
    if (status != kDERDecoderErrorNone) {
      return stopText(static_cast<std::size_t>(set.buffer + begin - manifest.bytes().data()),
                      fmt::format("the item cannot be read: {}", derTrouble(status)));
    }
    begin += length;
  }
  return "";
}

/// Adds the problem of an attribute, or of a part of one, if it is present.
template <class Why>
void add(std::vector<PackedTrouble>& troubles, const Dictionary& attributes, std::string_view name,
         std::string_view prefix, Why whyStops) {
  const Value* const value = attributes.find(name);
  if (value == nullptr) return;
  const Data* const data = value->ifData();
  const std::string why =
      data == nullptr ? fmt::format("it is {}, not data", kindName(value->kind())) : whyStops(*data);
  if (!why.empty()) troubles.push_back({prefix, fmt::format("{} cannot be decoded to its end: {}", name, why)});
}

}  // namespace

std::string textOf(const std::optional<SystemConfig::Stop>& stop) {
  return stop ? stopText(stop->offset, stop->reason) : "";
}

std::string whyControlBitsStop(const Data& block) {
  const std::size_t count = SystemConfig::controlBitsFromData(&block).size();
  if (count == SystemConfig::kControlBitCount) return "";
  return stopText(block.size(),
                  fmt::format("the block ends after {} of {} records", count, SystemConfig::kControlBitCount));
}

std::string whyManifestStops(const Data& manifest, TavikManifestBodyParser parser) {
  DERDecoder set{};
  if (manifest.empty()) return "it is empty";
  if (manifest.size() > std::numeric_limits<std::uint32_t>::max()) return "it is larger than 4 GiB";
  const auto size = static_cast<std::uint32_t>(manifest.size());
  switch (const std::uint32_t status = getManifestDecoder(manifest.bytes().data(), size, &set, parser)) {
    case kDERDecoderErrorNone:
      return whyItemsStop(manifest, set);
    case kDERDecoderErrorInvalid:
      return "its signature algorithm is not sha1WithRSAEncryption";
    case kDERDecoderErrorBufferOverrun:
    case kDERDecoderErrorBadTag:
    case kDERDecoderErrorBadLength:
    case kDERDecoderErrorOverflow:
      return fmt::format("an element cannot be read: {}", derTrouble(status));
    default:
      return "it does not have the structure of this manifest";
  }
}

std::string_view derTrouble(std::uint32_t status) {
  switch (status) {
    case kDERDecoderErrorBufferOverrun:
      return "its content runs past the end";
    case kDERDecoderErrorBadTag:
      return "its tag is cut off";
    case kDERDecoderErrorBadLength:
      return "its length is cut off";
    default:
      return "its tag or length needs more than 32 bits";
  }
}

std::vector<PackedTrouble> packedTroubles(const Dictionary& attributes) {
  std::vector<PackedTrouble> troubles;
  add(troubles, attributes, "SysCfgData", "SysCfgData.", [](const Data& blob) {
    std::optional<SystemConfig::Stop> stop;
    static_cast<void>(SystemConfig::sysCfgFromData(&blob, stop));
    return textOf(stop);
  });
  const Value* const manifests = attributes.find("BasebandFirmwareManifestData");
  if (manifests == nullptr) return troubles;
  if (manifests->ifDictionary() == nullptr) {
    const std::string why = fmt::format("BasebandFirmwareManifestData cannot be decoded: it is {}, not a dictionary",
                                        kindName(manifests->kind()));
    return {{"RootManifestData.", why}, {"ProvisioningManifestData.", why}};
  }
  add(troubles, *manifests->ifDictionary(), "RootManifestData", "RootManifestData.",
      [](const Data& manifest) { return whyManifestStops(manifest, decodeRootManifest); });
  add(troubles, *manifests->ifDictionary(), "ProvisioningManifestData", "ProvisioningManifestData.",
      [](const Data& manifest) { return whyManifestStops(manifest, decodeProvisioningManifest); });
  return troubles;
}

}  // namespace tavik::tool
