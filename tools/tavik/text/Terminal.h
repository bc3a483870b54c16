/// @file
/// Tables and colors for people, fitted to the terminal, if the stream is one.
#ifndef TAVIK_TOOL_TEXT_TERMINAL_H
#define TAVIK_TOOL_TEXT_TERMINAL_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool {

/// The screen that text for people is written to.
struct Screen {
  std::optional<std::size_t> width;  ///< columns; absent if it is not a terminal, so that nothing is cut off
  bool colour = false;

  /// The properties of a stream. COLUMNS overrides a terminal's width; NO_COLOR and TERM=dumb disable color.
  static Screen standardOutput();
  static Screen standardError();
};

enum class Style : std::uint8_t { kPlain, kHeading, kGood, kBad, kFaint, kMarked };

/// The text in the given style, if the screen has colors.
std::string styled(std::string_view text, Style style, const Screen& screen);

/// A value as one line of visible text. Spaces at its ends, which would be invisible, are written as "\x20".
std::string lineOf(const Value* value);

/// Columns aligned by display width. On a terminal, long cells are cut so that a row fits on one line; elsewhere they
/// are complete.
class Table {
 public:
  /// keepsFirst: the first column has names, which are cut only beyond half of the line.
  explicit Table(bool keepsFirst = false) : keepsFirst_(keepsFirst) {}
  void add(Style style, std::vector<std::string> visibleCells) { rows_.push_back({style, std::move(visibleCells)}); }
  [[nodiscard]] std::string text(const Screen& screen) const;

 private:
  struct Row {
    Style style;
    std::vector<std::string> cells;
  };

  [[nodiscard]] std::vector<std::size_t> naturalWidths() const;

  bool keepsFirst_;
  std::vector<Row> rows_;
};

}  // namespace tavik::tool

#endif
