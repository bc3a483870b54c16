// Go to definition, and find references: names in the documents of the project.

#include "lsp/Feature.h"

namespace tavik::tool::lsp {
namespace {

/// The places of the name at the position, as far as they are wanted.
Json placesOfName(const Query& query, bool (*isWanted)(const Name& name)) {
  constexpr std::size_t kMost = 10'000;
  const Name* const name = query.document.nameAt(query.offset());
  Json places = Json::array();
  if (name == nullptr) return places;
  for (const SourceDocument* document : query.project.all()) {
    for (const Name* same : sameNames(*document, *name)) {
      if (isWanted(*same) && places.size() < kMost) places.push_back(locationOf(*document, same->token.content));
    }
  }
  return places;
}

}  // namespace

Result definition(const Query& query) {
  return placesOfName(query, [](const Name& name) { return name.isDefinition; });
}

Result references(const Query& query) {
  const bool withDefinition = query.params.at("context").at("includeDeclaration").get<bool>();
  if (withDefinition) return placesOfName(query, [](const Name&) { return true; });
  return placesOfName(query, [](const Name& name) { return !name.isDefinition; });
}

}  // namespace tavik::tool::lsp
