// Completion: keys, names and words that the grammar allows at the cursor.

#include <algorithm>
#include <set>

#include "lint/LocalRules.h"
#include "lsp/Feature.h"
#include "rules/RuleMeaning.h"
#include "text/Text.h"

namespace tavik::tool::lsp {
namespace {

using Kind = OutlineNode::Kind;

constexpr int kFunctionItem = 3;
constexpr int kPropertyItem = 10;
constexpr int kValueItem = 12;
constexpr std::size_t kMostItems = 200;

/// What a cursor is in.
struct Cursor {
  Path path;    ///< of the value, or of the dictionary for a key
  bool isKey;   ///< a key is expected, otherwise a value
  Token token;  ///< what is written already; empty between tokens
};

/// The cursor between tokens, in the innermost container.
Cursor between(const Outline& outline, std::size_t offset) {
  std::size_t container = 0;
  std::size_t last = 0;  // the last node before the cursor
  for (std::size_t i = 0; i < outline.nodes.size() && outline.nodes[i].begin() < offset; ++i) {
    const OutlineNode& node = outline.nodes[i];
    const bool isContainer = node.kind == Kind::kDictionary || node.kind == Kind::kArray;
    if (isContainer && node.value.whole.begin < offset &&
        (offset < node.value.whole.end || node.value.whole.end == outline.text.size()))
      container = i;
    last = i;
  }
  const OutlineNode& node = outline.nodes[container];
  const Token here{{offset, offset}, {offset, offset}};
  const bool awaitsValue = outline.nodes[last].kind == Kind::kMissing && outline.nodes[last].parent == container;
  if (awaitsValue) return {pathOf(outline, last), false, here};
  Path path = pathOf(outline, container);
  if (node.kind == Kind::kArray) path.emplace_back("#");
  return {std::move(path), node.kind == Kind::kDictionary, here};
}

Cursor cursorAt(const Outline& outline, std::size_t offset) {
  for (std::size_t i = 0; i < outline.nodes.size() && outline.nodes[i].begin() <= offset; ++i) {
    const OutlineNode& node = outline.nodes[i];
    if (node.hasKey && node.key.content.touches(offset)) return {pathOf(outline, node.parent), true, node.key};
    const bool isWord = node.kind == Kind::kString || node.kind == Kind::kOther;
    if (isWord && node.value.content.touches(offset)) return {pathOf(outline, i), false, node.value};
  }
  return between(outline, offset);
}

class Completer {
 public:
  Completer(const Query& query, std::size_t offset)
      : document_(query.document),
        project_(query.project),
        offset_(offset),
        cursor_(cursorAt(query.document.outline(), offset)) {}

  Json items() {
    if (cursor_.isKey) {
      offerKeys();
    } else if (const Pattern* const pattern = patternOf(document_.role(), cursor_.path); pattern && pattern->value) {
      if (*pattern->value == NameKind::kPredicate) return predicates();
      for (const Keyword& word : pattern->words) offer(word.name, kValueItem, word.meaning);
      offerNames(*pattern->value);
    }
    return {{"isIncomplete", items_.size() >= kMostItems}, {"items", std::move(items_)}};
  }

 private:
  void offerKeys() {
    if (const Pattern* const pattern = patternOf(document_.role(), cursor_.path)) {
      for (const Keyword& key : pattern->keys) offer(key.name, kPropertyItem, key.meaning);
    }
    Path child = cursor_.path;
    child.emplace_back("*");
    const Pattern* const pattern = patternOf(document_.role(), child);
    if (pattern == nullptr || !pattern->key || pattern->defines) return;
    offerNames(*pattern->key);
    if (*pattern->key == NameKind::kEntry) {
      offerNames(NameKind::kRule);
      offerNames(NameKind::kRuleSet);
    }
  }

  /// The names that are defined or, for attributes and sources, used anywhere in the project.
  void offerNames(NameKind kind) {
    const bool isDefined = kind == NameKind::kRule || kind == NameKind::kRuleSet;
    if (kind == NameKind::kSource) {
      for (const char* name : {"sfc", "gui"}) offer(name, kValueItem, "");
    }
    for (const SourceDocument* document : project_.all()) {
      for (const Name& name : document->names()) {
        const bool isTyped = document == &document_ && name.token.whole.touches(offset_);
        if (name.kind == kind && (name.isDefinition || !isDefined) && !isTyped) offer(name.text, kValueItem, "");
      }
    }
  }

  void offer(std::string_view name, int kind, std::string_view detail) {
    if (items_.size() >= kMostItems || !isWanted(name) || !offered_.emplace(name).second) return;
    const auto [span, text] = document_.outline().replacement(cursor_.token, name, cursor_.isKey);
    items_.push_back({{"label", visible(name)},
                      {"kind", kind},
                      {"detail", detail},
                      {"filterText", text},
                      {"textEdit", {{"range", rangeOf(document_, span)}, {"newText", text}}}});
  }

  /// Whether the name contains what is written before the cursor.
  [[nodiscard]] bool isWanted(std::string_view name) {
    if (!typed_) {
      const std::size_t begin = std::min(cursor_.token.content.begin, offset_);
      typed_ = lowerCase(document_.outline().textOf({{}, {begin, offset_}}));
    }
    return typed_->empty() || lowerCase(name).find(*typed_) != std::string::npos;
  }

  /// The words of an expression are replaced one by one.
  Json predicates() {
    const Outline& outline = document_.outline();
    const std::string_view content = cursor_.token.content.in(outline.text);
    if (cursor_.token.whole == cursor_.token.content) {  // not yet in quotes or tags
      for (const std::string_view name : predicateNames()) offer(name, kFunctionItem, "");
      return {{"isIncomplete", false}, {"items", std::move(items_)}};
    }
    const std::size_t at = offset_ - cursor_.token.content.begin;
    const std::size_t before = at == 0 ? std::string_view::npos : content.rfind(' ', at - 1);
    const std::size_t begin = before == std::string_view::npos ? 0 : before + 1;
    const std::size_t end = std::min(content.find(' ', at), content.size());
    const Json range = rangeOf(document_, {cursor_.token.content.begin + begin, cursor_.token.content.begin + end});
    const auto add = [&](std::string_view name, int kind) {
      items_.push_back({{"label", name}, {"kind", kind}, {"textEdit", {{"range", range}, {"newText", name}}}});
    };
    const auto wordsBefore = std::ranges::count(content.substr(0, begin), ' ');
    if (wordsBefore == 1) {
      for (const char* word : {"AND", "OR"}) add(word, kValueItem);
    }
    if (wordsBefore == 0) add("NOT", kValueItem);
    for (const std::string_view name : predicateNames()) add(name, kFunctionItem);
    return {{"isIncomplete", false}, {"items", std::move(items_)}};
  }

  const SourceDocument& document_;
  const Project& project_;
  std::size_t offset_;
  Cursor cursor_;
  Json items_ = Json::array();
  std::set<std::string, std::less<>> offered_;
  std::optional<std::string> typed_;
};

}  // namespace

Result completion(const Query& query) {
  const std::size_t offset = query.offset();
  const Outline& outline = query.document.outline();
  if (query.document.isOpaque() || outline.isEmpty() || !outline.nodes.front().value.whole.touches(offset))
    return Json();
  return Completer(query, offset).items();
}

}  // namespace tavik::tool::lsp
