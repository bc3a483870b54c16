/// @file
/// The texts of the page in the language of the line.
#ifndef TAVIK_STATION_PAGE_TEXTS_H
#define TAVIK_STATION_PAGE_TEXTS_H

#include <optional>
#include <string>

namespace tavik::station {

/// The texts as a JSON object. file: translations of some or all of them, a JSON object with the same keys and
/// "language". Throws `Unusable` if the file has other keys, or values that are not strings.
std::string pageTexts(const std::optional<std::string>& file);

}  // namespace tavik::station

#endif
