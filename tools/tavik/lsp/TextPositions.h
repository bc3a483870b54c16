/// @file
/// Positions in a text as its readers count them, and how they move when the text changes.
#ifndef TAVIK_TOOL_LSP_TEXT_POSITIONS_H
#define TAVIK_TOOL_LSP_TEXT_POSITIONS_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "text/Text.h"

namespace tavik::tool::lsp {

/// What a column counts.
enum class Unit : std::uint8_t { kByte, kUtf16, kCodePoint };

/// Both numbers start at 0.
struct Position {
  std::size_t line = 0;
  std::size_t character = 0;
};

/// Converts between byte offsets and positions in a text, which is borrowed. Each conversion takes about the same time,
/// however long the lines are.
class TextPositions {
 public:
  /// crEndsLine: whether CR ends a line even if LF does not follow.
  TextPositions(std::string_view text, Unit unit, bool crEndsLine = true);

  [[nodiscard]] Position positionOf(std::size_t offset) const;
  /// A position outside the text is the nearest one in it: the end of the line, or of the text.
  [[nodiscard]] std::size_t offsetOf(Position position) const;

 private:
  [[nodiscard]] std::size_t unitsBefore(std::size_t offset) const;
  [[nodiscard]] std::size_t endOfLine(std::size_t line) const;

  std::string_view text_;
  Unit unit_;
  std::vector<std::size_t> lines_;   // the offset of each line
  std::vector<std::size_t> blocks_;  // the units before each block of bytes
};

/// The replacement of one part of a text by another that turns one text into the other.
class TextChange {
 public:
  TextChange(std::string_view before, std::string_view after);
  /// Where `offset` in the first text is in the second one. Everything in the replaced part is at its beginning.
  [[nodiscard]] std::size_t moved(std::size_t offset) const;
  [[nodiscard]] Span moved(Span span) const { return {moved(span.begin), moved(span.end)}; }

 private:
  std::size_t sizeBefore_;
  std::size_t sizeAfter_;
  std::size_t sameAtBegin_;
  std::size_t sameAtEnd_;
};

}  // namespace tavik::tool::lsp

#endif
