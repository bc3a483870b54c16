#include "check/Provenance.h"

#include <fmt/format.h>
#include <tavik/PropertyList.h>

#include "text/Text.h"

namespace tavik::tool {
namespace {

std::string statementText(const Statement& statement) {
  const bool isLibrary = statement.role == DocumentRole::kLibrary;
  std::string text = fmt::format("{} of \"{}\", revision {}", isLibrary ? "library" : "local rules",
                                 visible(statement.product), statement.revision);
  const auto expires = statement.expires ? dateToIsoText(*statement.expires) : std::nullopt;
  return expires ? text + ", expires on " + *expires : text;
}

std::string keysText(const DocumentProvenance& document) {
  std::string text;
  for (const std::string& key : document.keys) text += fmt::format("{}\"{}\"", text.empty() ? "" : ", ", visible(key));
  return text;
}

/// Both "version" and "sha256" are always present.
std::vector<JsonEntry> entriesOf(const DocumentProvenance& document) {
  const Dictionary known = document.dictionary();
  std::vector<JsonEntry> entries = entriesIn(known, {"version", "sha256"});
  for (const std::string_view key : {"keys", "product", "revision", "expires", "warning"}) {
    if (const Value* const value = known.find(key)) entries.push_back({key, *value});
  }
  return entries;
}

}  // namespace

std::string signersText(const DocumentProvenance& document) {
  const std::string signers = "signed by " + keysText(document);
  return document.statement ? signers + "; " + statementText(*document.statement) : signers;
}

std::vector<JsonEntry> entriesOf(const Provenance& provenance) {
  const Dictionary all = provenance.dictionary();
  JsonEntry documents{"documents", std::nullopt, {}};
  documents.entries.push_back({"library", std::nullopt, entriesOf(provenance.library)});
  documents.entries.push_back({"rules", std::nullopt, entriesOf(provenance.rules)});
  return {std::move(documents), {"kernel", *all.find("kernel")}};
}

std::vector<std::pair<std::string, std::string>> propertiesOf(const Provenance& provenance) {
  std::vector<std::pair<std::string, std::string>> properties;
  const auto add = [&](const std::string& name, const DocumentProvenance& document) {
    if (!document.sha256.empty()) properties.emplace_back(name + " SHA-256", document.sha256);
    if (!document.keys.empty()) properties.emplace_back(name + " signed by", keysText(document));
    if (document.statement) properties.emplace_back(name + " statement", statementText(*document.statement));
    if (!document.warning.empty()) properties.emplace_back(name + " warning", document.warning);
  };
  add("rule library", provenance.library);
  add("local rules", provenance.rules);
  return properties;
}

}  // namespace tavik::tool
