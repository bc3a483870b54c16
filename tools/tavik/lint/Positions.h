/// @file
/// Where the values of a property list stand in the file that it was read from.
#ifndef TAVIK_TOOL_LINT_POSITIONS_H
#define TAVIK_TOOL_LINT_POSITIONS_H

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace tavik::tool::lint {

/// Where a value begins, and its key where it has one.
struct Offsets {
  std::size_t value = 0;
  std::optional<std::size_t> key;
};

/// The offsets of all values in a property list as XML or old-style text, each before the values in it. The reader has
/// accepted the file; of any other kind of file what is returned says nothing.
std::vector<Offsets> offsetsOfValues(std::string_view file);

/// Counted from 1, columns in characters.
struct Position {
  std::size_t line = 1;
  std::size_t column = 1;
};

/// Turns ascending offsets into positions.
class PositionFinder {
 public:
  explicit PositionFinder(std::string_view file) : file_(file) {}
  /// `offset` is none before an earlier one.
  Position at(std::size_t offset);

 private:
  std::string_view file_;
  std::size_t offset_ = 0;
  Position position_;
};

}  // namespace tavik::tool::lint

#endif
