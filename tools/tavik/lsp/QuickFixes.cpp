// Quick fixes: replaces an unknown name by the one that the finding suggests.

#include <fmt/format.h>

#include <algorithm>

#include "lsp/Feature.h"
#include "text/Text.h"

namespace tavik::tool::lsp {

Result codeActions(const Query& query) {
  Json actions = Json::array();
  const SourceDocument& document = query.document;
  if (query.checked == nullptr || document.isOpaque()) return actions;
  const Json& range = query.params.at("range");
  const Span asked{document.positions().offsetOf(positionIn(range.at("start"))),
                   document.positions().offsetOf(positionIn(range.at("end")))};
  const TextChange change(*query.checked->text, *document.text());
  for (const Problem& problem : query.checked->problems) {
    const Span span = change.moved(problem.span);
    if (!problem.suggestion || span.end < asked.begin || span.begin > asked.end) continue;
    const auto& [name, replacement] = *problem.suggestion;
    if (span.in(*document.text()) != name) continue;  // written with escapes, or changed since
    const Outline& outline = document.outline();
    const auto names = [&](const OutlineNode& node) { return node.key.content == span || node.value.content == span; };
    const auto node = std::ranges::find_if(outline.nodes, names);
    Outline::Replacement edit{span, replacement};  // of a word in an expression
    if (node != outline.nodes.end()) {
      const bool isKey = node->key.content == span;
      edit = outline.replacement(isKey ? node->key : node->value, replacement, isKey);
    }
    actions.push_back(
        {{"title", fmt::format("Change to \"{}\"", visible(replacement))},
         {"kind", "quickfix"},
         {"isPreferred", true},
         {"edit",
          {{"changes", {{document.uri(), {{{"range", rangeOf(document, edit.span)}, {"newText", edit.text}}}}}}}}});
  }
  return actions;
}

}  // namespace tavik::tool::lsp
