#include "lsp/SourceDocument.h"

#include <tavik/PropertyList.h>

#include <algorithm>

#include "ExitStatus.h"
#include "io/Encoding.h"
#include "rules/HostPlatform.h"

namespace tavik::tool::lsp {
namespace {

bool isBinary(std::string_view text) { return text.starts_with("bplist"); }

/// Whether it may be signed, judged by its keys.
bool resemblesSigned(const Outline& outline) {
  std::size_t found = 0;
  for (const OutlineNode& node : outline.nodes) {
    const std::string_view key = node.key.content.in(outline.text);
    if (node.depth == 1 && node.hasKey && (key == "payload" || key == "signatures")) ++found;
  }
  return found == 2;
}

}  // namespace

std::optional<Value> unwrapped(const Value& document) {
  const Dictionary* const envelope = document.ifDictionary();
  if (envelope == nullptr || !isSigned(*envelope)) return document;
  std::string error;
  std::optional<Value> payload = readPropertyList(envelope->findData("payload")->bytes(), error);
  const Dictionary* const statement = payload ? payload->ifDictionary() : nullptr;
  const bool isStatement = envelope->findString("payloadType") == "application/vnd.tavik.statement+plist";
  const Value* const content = isStatement && statement != nullptr ? statement->find("document") : nullptr;
  return content != nullptr ? std::optional(*content) : payload;
}

void SourceDocument::setText(std::string text) {
  text_ = std::make_shared<const std::string>(std::move(text));
  positions_.reset();
  names_.reset();
  ownRole_.reset();
  outline_.reset();
  wasRead_ = false;
}

const TextPositions& SourceDocument::positions() const {
  if (!positions_) positions_.emplace(*text_, unit_);
  return *positions_;
}

const Outline& SourceDocument::outline() const {
  if (!outline_) outlineText();
  return *outline_;
}

void SourceDocument::outlineText() const {
  outlined_ = text_;
  outline_.emplace(*outlined_);
  if (!isBinary(*text_) && !resemblesSigned(*outline_)) return;
  read();
  std::string error;
  const auto xml =
      isReadable_ && content_ ? writePropertyList(*content_, PropertyListFormat::kXml, error) : std::nullopt;
  if (!xml) return;
  outlined_ = std::make_shared<const std::string>(xml->bytes().begin(), xml->bytes().end());
  outline_.emplace(*outlined_);
}

bool SourceDocument::isOpaque() const {
  (void)outline();
  return outlined_ != text_;
}

Role SourceDocument::ownRole() const {
  if (!ownRole_) ownRole_ = roleOf(outline());
  return *ownRole_;
}

void SourceDocument::setRole(Role role) {
  if (givenRole_ != role) names_.reset();
  givenRole_ = role;
}

const std::vector<Name>& SourceDocument::names() const {
  if (!names_) names_ = namesIn(outline(), role());
  return *names_;
}

void SourceDocument::read() const {
  if (wasRead_) return;
  wasRead_ = true;
  isReadable_ = false;
  try {
    std::optional<Value> read = unwrapped(parseValue("", *text_));
    isReadable_ = read && read->ifDictionary() != nullptr;
    if (isReadable_) content_ = std::move(read);
  } catch (const Unusable&) {
    // The last content remains.
  }
}

const Value* SourceDocument::content() const {
  read();
  return content_ ? &*content_ : nullptr;
}

bool SourceDocument::isReadable() const {
  read();
  return isReadable_;
}

const Name* SourceDocument::nameAt(std::size_t offset) const {
  if (isOpaque()) return nullptr;
  const auto touches = [&](const Name& name) { return name.token.whole.touches(offset); };
  const auto found = std::ranges::find_if(names(), touches);
  return found == names().end() ? nullptr : &*found;
}

}  // namespace tavik::tool::lsp
