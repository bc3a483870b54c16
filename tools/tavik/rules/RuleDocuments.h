/// @file
/// The rule documents of a command line: what they hold, and the kernel made of the rule library.
#ifndef TAVIK_TOOL_RULES_RULE_DOCUMENTS_H
#define TAVIK_TOOL_RULES_RULE_DOCUMENTS_H

#include <tavik/Value.h>
#include <tavik/ZRTTavikKernel.h>

#include <memory>
#include <string>

#include "rules/HostPlatform.h"

namespace tavik::tool {

/// The content of a rule document, which messages call by `name`. Raises `Failure` when it is not trusted or holds no
/// entries.
Dictionary validatedContent(const std::string& name, const Dictionary& document, const HostPlatform& platform);

/// The same; raises `Failure` also when it has no "version": then there is nothing to check a device with.
Dictionary trustedContent(const std::string& name, const Dictionary& document, const HostPlatform& platform);

/// Makes the kernel of a rule library, which messages call by `name`. Raises `Failure` when it is not trusted or empty.
std::unique_ptr<ZRTTavikKernel> openKernel(const std::string& name, const Dictionary& library,
                                           const std::shared_ptr<const HostPlatform>& platform);

}  // namespace tavik::tool

#endif
