#include "lsp/Feature.h"

#include <algorithm>

#include "text/Text.h"

namespace tavik::tool::lsp {

std::string jsonText(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

std::size_t Query::offset() const { return document.positions().offsetOf(positionIn(params.at("position"))); }

Position positionIn(const Json& position) {
  return {position.at("line").get_ref<const Json::number_unsigned_t&>(),
          position.at("character").get_ref<const Json::number_unsigned_t&>()};
}

Position positionOf(const SourceDocument& document, std::size_t offset) {
  return document.isOpaque() ? Position{} : document.positions().positionOf(offset);
}

Json rangeOf(const SourceDocument& document, Span span) {
  const auto json = [&](std::size_t offset) {
    const Position position = positionOf(document, offset);
    return Json{{"line", position.line}, {"character", position.character}};
  };
  return {{"start", json(span.begin)}, {"end", json(span.end)}};
}

Json locationOf(const SourceDocument& document, Span span) {
  return {{"uri", document.uri()}, {"range", rangeOf(document, span)}};
}

std::vector<const Name*> sameNames(const SourceDocument& document, const Name& name) {
  std::vector<const Name*> same;
  for (const Name& other : document.names()) {
    if (other.kind == name.kind && other.text == name.text) same.push_back(&other);
  }
  return same;
}

std::string codeOf(std::string_view text) {
  constexpr std::size_t kLongest = 100;
  std::string code = shortened(visible(text), kLongest);
  std::ranges::replace(code, '`', '\'');
  return "`" + code + "`";
}

}  // namespace tavik::tool::lsp
