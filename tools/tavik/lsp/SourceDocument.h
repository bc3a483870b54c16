/// @file
/// A document of the workspace: the text of an editor or of a file, and what is derived from it when it is needed.
#ifndef TAVIK_TOOL_LSP_SOURCE_DOCUMENT_H
#define TAVIK_TOOL_LSP_SOURCE_DOCUMENT_H

#include <tavik/Value.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lsp/Grammar.h"
#include "lsp/Outline.h"
#include "lsp/TextPositions.h"

namespace tavik::tool::lsp {

/// Text that does not change, for any number of owners and threads.
using SharedText = std::shared_ptr<const std::string>;

/// The rule document in a signed one, whose signatures are not verified; otherwise `document` itself. Absent if the
/// signed content cannot be decoded.
std::optional<Value> unwrapped(const Value& document);

class SourceDocument {
 public:
  SourceDocument(std::string uri, std::string path, Unit unit)
      : uri_(std::move(uri)), path_(std::move(path)), unit_(unit) {}

  [[nodiscard]] const std::string& uri() const noexcept { return uri_; }
  /// Empty if the document is not a file.
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] const SharedText& text() const noexcept { return text_; }
  void setText(std::string text);

  [[nodiscard]] const TextPositions& positions() const;
  /// Of the rule document in it if it is signed or binary.
  [[nodiscard]] const Outline& outline() const;
  /// Whether the places in the outline are not places in the text, because the document is signed or binary.
  [[nodiscard]] bool isOpaque() const;
  /// Judged by its content.
  [[nodiscard]] Role ownRole() const;
  /// The role in its project.
  [[nodiscard]] Role role() const { return givenRole_ ? *givenRole_ : ownRole(); }
  void setRole(Role role);
  [[nodiscard]] const std::vector<Name>& names() const;
  /// The rule document in the last text that could be read, as a value; null if none could.
  [[nodiscard]] const Value* content() const;
  /// Whether the text can be read.
  [[nodiscard]] bool isReadable() const;

  /// The name that a cursor touches; null if there is none.
  [[nodiscard]] const Name* nameAt(std::size_t offset) const;

 private:
  void outlineText() const;
  void read() const;

  std::string uri_;
  std::string path_;
  Unit unit_;
  SharedText text_ = std::make_shared<const std::string>();
  std::optional<Role> givenRole_;

  // Derived from the text when needed:
  mutable std::optional<TextPositions> positions_;
  mutable SharedText outlined_;  // the text of the outline
  mutable std::optional<Outline> outline_;
  mutable std::optional<Role> ownRole_;
  mutable std::optional<std::vector<Name>> names_;
  mutable std::optional<Value> content_;
  mutable bool wasRead_ = false;
  mutable bool isReadable_ = false;
};

}  // namespace tavik::tool::lsp

#endif
