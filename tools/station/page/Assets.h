/// @file
/// The files that the service serves, embedded by the build.
#ifndef TAVIK_STATION_PAGE_ASSETS_H
#define TAVIK_STATION_PAGE_ASSETS_H

#include <cstdint>
#include <string_view>

namespace tavik::station {

enum class Asset : std::uint8_t { kPage, kStyle, kScript, kTexts, kOpenApi };

std::string_view contentOf(Asset asset);
std::string_view mediaTypeOf(Asset asset);

}  // namespace tavik::station

#endif
