// The symbols of a document: rules, rule sets, part numbers, regions and cases.

#include <fmt/format.h>

#include "lsp/Feature.h"
#include "text/Text.h"

namespace tavik::tool::lsp {
namespace {

using Kind = OutlineNode::Kind;

constexpr int kObjectSymbol = 19;
constexpr int kFunctionSymbol = 12;
constexpr int kStringSymbol = 15;

/// How deep the symbols of a document go.
std::size_t depthOf(Role role) {
  if (role == Role::kRules) return Pattern::kDeepest;
  return role == Role::kCases ? 2 : 1;
}

/// The string under a key of the dictionary; empty if there is none.
std::string textIn(const Outline& outline, std::size_t dictionary, std::string_view key) {
  for (std::size_t i = dictionary + 1; i < outline.nodes[dictionary].end; i = outline.nodes[i].end) {
    const OutlineNode& node = outline.nodes[i];
    if (node.hasKey && node.key.content.in(outline.text) == key) return outline.textOf(node.value);
  }
  return "";
}

class SymbolLister {
 public:
  explicit SymbolLister(const SourceDocument& document)
      : document_(document), outline_(document.outline()), deepest_(depthOf(document.role())) {}

  Json children(std::size_t container) {
    Json symbols = Json::array();
    const OutlineNode& parent = outline_.nodes[container];
    for (std::size_t i = container + 1; i < parent.end; i = outline_.nodes[i].end) {
      Json made = symbol(i);
      if (!made.is_null()) symbols.push_back(std::move(made));
    }
    return symbols;
  }

 private:
  /// Null if the value has no name.
  Json symbol(std::size_t number) {
    const OutlineNode& node = outline_.nodes[number];
    const std::string name = visible(node.hasKey ? outline_.textOf(node.key) : textIn(outline_, number, "name"));
    if (name.empty()) return nullptr;
    const Span whole{node.begin(), std::max(node.value.whole.end, node.key.whole.end)};
    const bool isRule = node.depth == deepest_ && node.kind == Kind::kDictionary;
    Json symbol{{"name", name},
                {"kind", isRule                       ? kFunctionSymbol
                         : node.kind == Kind::kString ? kStringSymbol
                                                      : kObjectSymbol},
                {"range", rangeOf(document_, whole)},
                {"selectionRange", rangeOf(document_, node.hasKey ? node.key.content : whole)}};
    if (document_.role() == Role::kLibrary) symbol["detail"] = visible(textIn(outline_, number, "predicate"));
    if (node.depth < deepest_ && node.end > number + 1) symbol["children"] = children(number);
    return symbol;
  }

  const SourceDocument& document_;
  const Outline& outline_;
  std::size_t deepest_;
};

}  // namespace

Json documentSymbols(const Query& query) {
  const SourceDocument& document = query.document;
  if (document.isOpaque() || document.outline().isEmpty() || document.role() == Role::kUnknown) return Json::array();
  return SymbolLister(document).children(0);
}

}  // namespace tavik::tool::lsp
