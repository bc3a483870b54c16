/// @file
/// What the keys and strings of each kind of document mean: names of rules, predicates, attributes and so on.
#ifndef TAVIK_TOOL_LSP_GRAMMAR_H
#define TAVIK_TOOL_LSP_GRAMMAR_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lsp/Outline.h"

namespace tavik::tool::lsp {

enum class Role : std::uint8_t { kUnknown, kLibrary, kRules, kCases };

enum class NameKind : std::uint8_t {
  kRule,
  kRuleSet,
  kEntry,  ///< in patterns only: a rule or, by its name, a rule set
  kPredicate,
  kAttribute,
  kSource,
  kWord,  ///< one of the pattern's words
};

/// A key or a word with a fixed meaning.
struct Keyword {
  std::string_view name;
  std::string_view meaning;
};

/// What is at a path.
struct Pattern {
  static constexpr std::size_t kDeepest = 5;

  Role role;
  /// "*" is any key, "#" any element; the rest are keys. Ends at the first empty one.
  std::array<std::string_view, kDeepest> path;
  std::optional<NameKind> key = {};     ///< what the key is, if it is a name
  std::optional<NameKind> value = {};   ///< what the string is, if it is a name
  bool defines = false;                 ///< the key is the definition of its name
  std::span<const Keyword> keys = {};   ///< of the dictionary
  std::span<const Keyword> words = {};  ///< for kWord
};

/// A path in an outline: keys, and "#" for elements.
using Path = std::vector<std::string>;
/// The pattern of a path; null if nothing is known about it. The first pattern of a role is that of its document.
const Pattern* patternOf(Role role, std::span<const std::string> path);
Path pathOf(const Outline& outline, std::size_t node);

/// A place where a name is written.
struct Name {
  NameKind kind;
  std::string text;
  Token token;
  bool isKey;
  bool isDefinition;
  std::size_t node;
};

Role roleOf(const Outline& outline);
/// The names of a document in document order.
std::vector<Name> namesIn(const Outline& outline, Role role);

}  // namespace tavik::tool::lsp

#endif
