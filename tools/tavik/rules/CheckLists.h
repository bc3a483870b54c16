/// @file
/// The lists of what a station must collect for a device.
#ifndef TAVIK_TOOL_RULES_CHECK_LISTS_H
#define TAVIK_TOOL_RULES_CHECK_LISTS_H

#include <tavik/ZRTTavikKernel.h>

#include <optional>
#include <string_view>

namespace tavik::tool {

/// A list that the kernel makes, and the headings of its table.
struct CheckList {
  std::string_view name;
  /// Absent, with `error` set, if the device's rules cannot be assembled.
  std::optional<Dictionary> (ZRTTavikKernel::*make)(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                    std::optional<Error>& error) const;
  std::string_view keyHeading;
  std::string_view valueHeading;
};

inline constexpr CheckList kCheckLists[] = {
    {"sfc", &ZRTTavikKernel::sfcCheckList, "attribute", "description"},
    {"gui", &ZRTTavikKernel::guiCheckList, "attribute", "description"},
    {"sim", &ZRTTavikKernel::simCheckList, "rule", "definition"},
    {"domain", &ZRTTavikKernel::getDomainList, "number", "domain"},
    {"polling", &ZRTTavikKernel::getPollingList, "number", "poll"},
};

}  // namespace tavik::tool

#endif
