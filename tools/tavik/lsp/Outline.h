/// @file
/// The outline of a document: its values and keys with their places in the text, also while the text is malformed.
#ifndef TAVIK_TOOL_LSP_OUTLINE_H
#define TAVIK_TOOL_LSP_OUTLINE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lsp/TextPositions.h"

namespace tavik::tool::lsp {

enum class Format : std::uint8_t { kXml, kJson, kText };
Format formatOf(std::string_view text);

/// A string or a key in the text.
struct Token {
  Span whole;    ///< with its quotes or tags, if it has any
  Span content;  ///< without them
};

struct OutlineNode {
  enum class Kind : std::uint8_t {
    kMissing,  ///< the key has no value yet
    kDictionary,
    kArray,
    kString,
    kOther,
  };

  Kind kind = Kind::kMissing;
  bool hasKey = false;
  Token key = {};
  Token value = {};        ///< `content` is empty for a container
  std::size_t parent = 0;  ///< its position among the nodes; the root is its own parent
  std::size_t depth = 0;   ///< 0 for the root
  std::size_t end = 0;     ///< past its last descendant

  [[nodiscard]] std::size_t begin() const noexcept { return hasKey ? key.whole.begin : value.whole.begin; }
};

/// The values of a text in document order; a container comes before its contents. Only the readers of the library
/// decide what a document means; this finds places in it, as far as the text has the form of a document.
struct Outline {
  /// Larger documents are outlined up to here.
  static constexpr std::size_t kMostNodes = std::size_t{1} << 20;

  explicit Outline(std::string_view text);

  [[nodiscard]] bool isEmpty() const noexcept { return nodes.empty(); }
  /// The text of a key or string without escapes.
  [[nodiscard]] std::string textOf(const Token& token) const;
  /// The node whose key or value begins at `offset`; null if there is none.
  [[nodiscard]] const OutlineNode* beginningAt(std::size_t offset) const;

  struct Replacement {
    Span span;
    std::string text;
  };
  /// What to write where to make `token` mean `name`. `isKey`: whether it is a key.
  [[nodiscard]] Replacement replacement(const Token& token, std::string_view name, bool isKey) const;

  std::string_view text;
  Format format;
  std::vector<OutlineNode> nodes;
};

/// Receives the tokens of a text in order and makes the nodes. Tolerates anything.
class OutlineBuilder {
 public:
  explicit OutlineBuilder(std::vector<OutlineNode>& nodes) : nodes_(nodes) {}

  /// Ignored outside of a dictionary.
  void key(const Token& token);
  void scalar(OutlineNode::Kind kind, const Token& token);
  void open(OutlineNode::Kind kind, std::size_t begin);
  /// Ends the innermost container of that kind, with everything in it; ignored if there is none.
  void close(OutlineNode::Kind kind, std::size_t end);
  /// A separator: a key without a value remains without one.
  void endEntry();
  /// Ends what is still open at the end of the text.
  void finish(std::size_t end);

  [[nodiscard]] bool isFull() const noexcept { return nodes_.size() >= Outline::kMostNodes; }
  [[nodiscard]] bool expectsKey() const { return !hasKey_ && isInDictionary(); }

 private:
  [[nodiscard]] bool isInDictionary() const;
  void add(OutlineNode::Kind kind, const Token& value);
  void closeInnermost(std::size_t end);

  std::vector<OutlineNode>& nodes_;
  std::vector<std::size_t> open_;
  std::size_t openDictionaries_ = 0;
  Token key_;
  bool hasKey_ = false;
};

void scanXml(std::string_view text, OutlineBuilder& builder);
/// JSON or old-style text.
void scanText(std::string_view text, Format format, OutlineBuilder& builder);

}  // namespace tavik::tool::lsp

#endif
