/// @file
/// Finds where and why a text is no JSON (RFC 8259), for a reader that only knows that it is none, and what can be told
/// from it all the same.
#ifndef TAVIK_TOOL_JSON_SYNTAX_H
#define TAVIK_TOOL_JSON_SYNTAX_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tavik::tool {

struct SyntaxError {
  std::size_t offset;
  std::string why;
};

/// The first syntax error; absent when the text is well-formed. Needs memory in proportion to the nesting, no stack.
std::optional<SyntaxError> findSyntaxError(std::string_view text);

/// The text of the first value of `key` (without escapes) in the object that the text is, or begins as: what comes
/// after the value may be malformed. Absent where there is none.
std::optional<std::string_view> findMember(std::string_view text, std::string_view key);

}  // namespace tavik::tool

#endif
