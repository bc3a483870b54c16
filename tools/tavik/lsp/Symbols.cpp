// The symbols of a document: rules, rule sets, part numbers, regions and cases.

#include <fmt/format.h>
#include <tavik/Json.h>

#include <algorithm>

#include "lsp/Feature.h"
#include "text/Text.h"

namespace tavik::tool::lsp {
namespace {

using Kind = OutlineNode::Kind;

constexpr std::size_t kMost = 50'000;
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

/// Writes the symbols as text: a document can have very many.
class SymbolLister {
 public:
  explicit SymbolLister(const SourceDocument& document)
      : document_(document), outline_(document.outline()), deepest_(depthOf(document.role())) {}

  std::string list() && {
    addChildren(0);
    return std::move(json_);
  }

 private:
  void addChildren(std::size_t container) {
    json_ += '[';
    const std::size_t end = outline_.nodes[container].end;
    for (std::size_t i = container + 1; i < end && count_ < kMost; i = outline_.nodes[i].end) addSymbol(i);
    json_ += ']';
  }

  void addSymbol(std::size_t number) {
    const OutlineNode& node = outline_.nodes[number];
    const std::string name = visible(node.hasKey ? outline_.textOf(node.key) : textIn(outline_, number, "name"));
    if (name.empty()) return;
    ++count_;
    const Span whole{node.begin(), std::max(node.value.whole.end, node.key.whole.end)};
    const bool isRule = node.depth == deepest_ && node.kind == Kind::kDictionary;
    const int kind = isRule ? kFunctionSymbol : node.kind == Kind::kString ? kStringSymbol : kObjectSymbol;
    json_ += json_.ends_with('[') ? "{\"name\":" : ",{\"name\":";
    appendJsonString(json_, name);
    json_ += fmt::format(",\"kind\":{}", kind);
    if (document_.role() == Role::kLibrary) {
      json_ += ",\"detail\":";
      appendJsonString(json_, visible(textIn(outline_, number, "predicate")));
    }
    addRange("range", whole);
    addRange("selectionRange", node.hasKey ? node.key.content : whole);
    if (node.depth < deepest_ && node.end > number + 1) {
      json_ += ",\"children\":";
      addChildren(number);
    }
    json_ += '}';
  }

  void addRange(std::string_view key, Span span) {
    const Position begin = positionOf(document_, span.begin);
    const Position end = positionOf(document_, span.end);
    json_ += fmt::format(R"(,"{}":{{"start":{{"line":{},"character":{}}},"end":{{"line":{},"character":{}}}}})", key,
                         begin.line, begin.character, end.line, end.character);
  }

  const SourceDocument& document_;
  const Outline& outline_;
  std::size_t deepest_;
  std::size_t count_ = 0;
  std::string json_;
};

}  // namespace

Result documentSymbols(const Query& query) {
  const SourceDocument& document = query.document;
  if (document.isOpaque() || document.outline().isEmpty() || document.role() == Role::kUnknown) return Json::array();
  return Result(SymbolLister(document).list());
}

}  // namespace tavik::tool::lsp
