#include "lsp/Outline.h"

#include <tavik/Json.h>
#include <tavik/PropertyList.h>

#include <algorithm>
#include <optional>

#include "io/Bytes.h"
#include "io/Encoding.h"
#include "reports/Html.h"

namespace tavik::tool::lsp {
namespace {

using Kind = OutlineNode::Kind;

/// The string that `content` means between quotes or tags; absent if it is malformed.
std::optional<Value> decoded(std::string_view content, Format format) {
  std::string error;
  if (format == Format::kJson) return readJson("\"" + std::string(content) + "\"", error);
  const std::string document = format == Format::kXml
                                   ? "<plist version=\"1.0\"><string>" + std::string(content) + "</string></plist>"
                                   : "\"" + std::string(content) + "\"";
  return readPropertyList(bytesOf(document), error);
}

std::string quoted(std::string_view text) {
  std::string quoted;
  appendJsonString(quoted, text);
  return quoted;
}

}  // namespace

Format formatOf(std::string_view text) {
  if (isJson(text)) return Format::kJson;
  const std::size_t begin = text.find_first_not_of("\xEF\xBB\xBF \t\r\n");
  return begin != std::string_view::npos && text[begin] == '<' ? Format::kXml : Format::kText;
}

Outline::Outline(std::string_view document) : text(document), format(formatOf(document)) {
  constexpr std::size_t kUsualBytesPerNode = 32;
  nodes.reserve(std::min(text.size() / kUsualBytesPerNode, kMostNodes));
  OutlineBuilder builder(nodes);
  if (format == Format::kXml) {
    scanXml(text, builder);
  } else {
    scanText(text, format, builder);
  }
  builder.finish(text.size());
}

std::string Outline::textOf(const Token& token) const {
  const std::string_view content = token.content.in(text);
  const bool isDelimited = token.whole != token.content;
  if (isDelimited && content.find_first_of(format == Format::kXml ? "&<" : "\\") != std::string_view::npos) {
    const std::optional<Value> value = decoded(content, format);
    if (value && value->isString()) return std::string(*value->ifString());
  }
  return std::string(content);
}

const OutlineNode* Outline::beginningAt(std::size_t offset) const {
  const auto after = std::ranges::upper_bound(nodes, offset, {}, &OutlineNode::begin);
  if (after == nodes.begin()) return nullptr;
  const OutlineNode& node = *(after - 1);
  return node.begin() == offset || node.value.whole.begin == offset ? &node : nullptr;
}

Outline::Replacement Outline::replacement(const Token& token, std::string_view name, bool isKey) const {
  if (format != Format::kXml) return {token.whole, quoted(name)};
  const bool isBetweenTags = token.content.begin > token.whole.begin;
  if (isBetweenTags) return {token.content, inserted(name)};
  const std::string tag = isKey ? "key" : "string";
  return {token.whole, "<" + tag + ">" + inserted(name) + "</" + tag + ">"};
}

void OutlineBuilder::key(const Token& token) {
  endEntry();
  key_ = token;
  hasKey_ = isInDictionary();
}

void OutlineBuilder::scalar(Kind kind, const Token& token) { add(kind, token); }

void OutlineBuilder::open(Kind kind, std::size_t begin) {
  add(kind, {{begin, begin}, {begin, begin}});
  open_.push_back(nodes_.size() - 1);
  if (kind == Kind::kDictionary) ++openDictionaries_;
}

void OutlineBuilder::close(Kind kind, std::size_t end) {
  if ((kind == Kind::kDictionary ? openDictionaries_ : open_.size() - openDictionaries_) == 0) return;
  endEntry();
  while (nodes_[open_.back()].kind != kind) closeInnermost(end);
  closeInnermost(end);
}

void OutlineBuilder::endEntry() {
  if (!hasKey_) return;
  const std::size_t end = key_.whole.end;
  add(Kind::kMissing, {{end, end}, {end, end}});
}

void OutlineBuilder::finish(std::size_t end) {
  endEntry();
  while (!open_.empty()) closeInnermost(end);
}

bool OutlineBuilder::isInDictionary() const { return !open_.empty() && nodes_[open_.back()].kind == Kind::kDictionary; }

void OutlineBuilder::add(Kind kind, const Token& value) {
  OutlineNode node{.kind = kind, .hasKey = hasKey_, .key = key_, .value = value};
  if (!open_.empty()) {
    node.parent = open_.back();
    node.depth = nodes_[node.parent].depth + 1;
  }
  node.end = nodes_.size() + 1;
  nodes_.push_back(node);
  hasKey_ = false;
}

void OutlineBuilder::closeInnermost(std::size_t end) {
  OutlineNode& node = nodes_[open_.back()];
  node.value.whole.end = end;
  node.end = nodes_.size();
  if (node.kind == Kind::kDictionary) --openDictionaries_;
  open_.pop_back();
}

}  // namespace tavik::tool::lsp
