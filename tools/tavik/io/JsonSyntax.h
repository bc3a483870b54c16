/// @file
/// Finds where and why a text is no JSON (RFC 8259), for a reader that only knows that it is none, and what can be told
/// from it all the same.
#ifndef TAVIK_TOOL_IO_JSON_SYNTAX_H
#define TAVIK_TOOL_IO_JSON_SYNTAX_H

#include <cstddef>
#include <optional>
#include <span>
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

/// A step into a value: to what a key stands for or, without a key, to the element at an index from 0.
struct JsonStep {
  std::optional<std::string_view> key;
  std::size_t index = 0;
};

/// "RuleSets.Base[2]", of a deep path its end.
std::string jsonPath(std::span<const JsonStep> path);

/// Where in a well-formed text the value begins that the steps lead to; absent where they lead nowhere, or through a
/// key that is written with escapes.
std::optional<std::size_t> findPlace(std::string_view text, std::span<const JsonStep> path);

}  // namespace tavik::tool

#endif
