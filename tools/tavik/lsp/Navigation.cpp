// Go to definition, and find references: names in the documents of the project.

#include "lsp/Feature.h"

namespace tavik::tool::lsp {

Result definition(const Query& query) {
  const Name* const name = query.document.nameAt(query.offset());
  Json places = Json::array();
  if (name == nullptr) return places;
  for (const SourceDocument* document : query.project.all()) {
    for (const Name* same : sameNames(*document, *name)) {
      if (same->isDefinition) places.push_back(locationOf(*document, same->token.content));
    }
  }
  return places;
}

Result references(const Query& query) {
  const bool withDefinition = query.params.at("context").at("includeDeclaration").get<bool>();
  const Name* const name = query.document.nameAt(query.offset());
  Json places = Json::array();
  if (name == nullptr) return places;
  for (const SourceDocument* document : query.project.all()) {
    for (const Name* same : sameNames(*document, *name)) {
      if (withDefinition || !same->isDefinition) places.push_back(locationOf(*document, same->token.content));
    }
  }
  return places;
}

}  // namespace tavik::tool::lsp
