/// @file
/// The documents that `tavik lint` reads, and places in them.
#ifndef TAVIK_TOOL_LINT_DOCUMENT_H
#define TAVIK_TOOL_LINT_DOCUMENT_H

#include <tavik/Location.h>
#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tavik::tool::lint {

struct Document {
  enum class Role : std::uint8_t {
    kLibrary,
    kRules,
    kBaseline,  ///< the list of known findings
  };

  Role role;
  std::string file;
  Value content;             ///< a dictionary
  ValueLocations locations;  ///< of the values in `content` if it was read from the file itself; otherwise empty

  [[nodiscard]] const Dictionary& entries() const noexcept { return *content.ifDictionary(); }
};

/// "library", "rules" or "baseline", for programs.
std::string_view nameOf(Document::Role role);

/// A value in a document, with its path. Borrows its parent.
class Place {
 public:
  explicit Place(const Document& document) : document_(&document), value_(&document.content) {}

  /// An entry of the dictionary that this place is.
  [[nodiscard]] Place entry(std::string_view key, const Value& value) const { return {this, key, 0, value}; }
  /// An element of the array that this place is.
  [[nodiscard]] Place element(std::size_t index, const Value& value) const { return {this, {}, index, value}; }

  [[nodiscard]] const Document& document() const noexcept { return *document_; }
  [[nodiscard]] const Value& value() const noexcept { return *value_; }
  /// "MPNRules.DN20-064.Color.value[2]"; empty for the document as a whole.
  [[nodiscard]] std::string path() const;
  /// Empty for an element, and for the document as a whole.
  [[nodiscard]] std::string_view key() const noexcept { return key_; }
  /// The value's key or, for an element, the key of its array.
  [[nodiscard]] std::string_view name() const noexcept;

 private:
  Place(const Place* parent, std::string_view key, std::size_t index, const Value& value)
      : document_(parent->document_), parent_(parent), key_(key), index_(index), value_(&value) {}

  const Document* document_;
  const Place* parent_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
  const Value* value_;
};

/// A value in a message, always short.
std::string shown(const Value& value);
/// Text in a message, quoted and short.
std::string shown(std::string_view text);
inline std::string shown(const std::string& text) { return shown(std::string_view(text)); }

}  // namespace tavik::tool::lint

#endif
