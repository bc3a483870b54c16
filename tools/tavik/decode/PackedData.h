/// @file
/// Why packed device data was decoded only in part, or not at all.
#ifndef TAVIK_TOOL_DECODE_PACKED_DATA_H
#define TAVIK_TOOL_DECODE_PACKED_DATA_H

#include <tavik/ManifestParser.h>
#include <tavik/SystemConfig.h>
#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool {

/// "byte 44: the entry is cut off"; empty if the blob was decoded to its end.
std::string textOf(const std::optional<SystemConfig::Stop>& stop);

/// The same for a control-bit block.
std::string whyControlBitsStop(const Data& block);

/// The same for a manifest, read by `parser`.
std::string whyManifestStops(const Data& manifest, TavikManifestBodyParser parser);

/// Describes a status of the DER decoder.
std::string_view derTrouble(std::uint32_t status);

/// A packed attribute, or a part of one, that a check cannot decode completely.
struct PackedTrouble {
  std::string_view prefix;  ///< of its fields: "SysCfgData."
  std::string why;          ///< a sentence without a period
};
std::vector<PackedTrouble> packedTroubles(const Dictionary& attributes);

}  // namespace tavik::tool

#endif
