/// @file
/// The rule documents of a command line. Every function throws `Failure` if a document is rejected; messages name it by
/// argument and path.
#ifndef TAVIK_TOOL_RULES_RULE_DOCUMENTS_H
#define TAVIK_TOOL_RULES_RULE_DOCUMENTS_H

#include <tavik/Value.h>
#include <tavik/ZRTTavikKernel.h>

#include <memory>
#include <string>
#include <string_view>

#include "io/Inputs.h"
#include "rules/HostPlatform.h"

namespace tavik::tool {

/// Whether a document has the form of local rules.
bool hasLayers(const Dictionary& document);

/// Whether the library looks like local rules, and the local rules do not.
bool areSwapped(const Dictionary& library, const Dictionary& localRules);
inline constexpr std::string_view kSwapped = "is a rule library, and --library names local rules; swap the two";

/// The content of a rule document in a role. `provenance`: set unless null.
Dictionary validatedContent(const std::string& name, const Dictionary& document, const HostPlatform& platform,
                            DocumentRole role, DocumentProvenance* provenance = nullptr);

/// Creates the kernel of a rule library.
std::unique_ptr<ZRTTavikKernel> openKernel(const std::string& name, const Dictionary& library,
                                           const std::shared_ptr<const HostPlatform>& platform);

/// Rejects a document without "version": it cannot be used to check devices.
void requireVersion(const std::string& name, const Dictionary& content);

/// Rejects local rules that are malformed for every device. Rules that are malformed for one part number only affect
/// its devices.
void requireWellFormed(const std::string& name, const Dictionary& rules, const ZRTTavikKernel& kernel);

/// Reads a rule library for checking devices.
std::unique_ptr<ZRTTavikKernel> readLibrary(Inputs& inputs, std::string_view argument, const std::string& path,
                                            const std::shared_ptr<const HostPlatform>& platform);
/// Reads local rules for checking devices.
std::unique_ptr<const PreparedRules> readLocalRules(Inputs& inputs, std::string_view argument, const std::string& path,
                                                    const ZRTTavikKernel& kernel);

}  // namespace tavik::tool

#endif
