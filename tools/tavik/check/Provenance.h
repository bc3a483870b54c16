/// @file
/// The origin of the rule documents, as the commands report it.
#ifndef TAVIK_TOOL_CHECK_PROVENANCE_H
#define TAVIK_TOOL_CHECK_PROVENANCE_H

#include <tavik/Provenance.h>

#include <string>
#include <utility>
#include <vector>

#include "io/JsonObject.h"

namespace tavik::tool {

/// `signed by "rule office", "line lead"; library of "Heron line", revision 12`.
std::string signersText(const DocumentProvenance& document);

/// The entries "documents" and "kernel" of a result's JSON object.
std::vector<JsonEntry> entriesOf(const Provenance& provenance);

/// What is known about the documents, as names and texts: ("rule library SHA-256", "9f86d0...").
std::vector<std::pair<std::string, std::string>> propertiesOf(const Provenance& provenance);

}  // namespace tavik::tool

#endif
