// Lookup in the case mapping table.

#include "values/CaseMapping.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace tavik {

namespace {

// Every `step`th character from `first` to `last` maps to itself plus `offset`.
struct Run {
  char32_t first;
  char32_t last;
  std::uint32_t step;
  std::int32_t offset;
};

#include "values/CaseMappingTable.inc"

char32_t mapped(char32_t character, std::span<const Run> runs) noexcept {
  const auto run = std::ranges::lower_bound(runs, character, {}, &Run::last);
  if (run == runs.end() || character < run->first || (character - run->first) % run->step != 0) return character;
  return static_cast<char32_t>(static_cast<std::int32_t>(character) + run->offset);
}

}  // namespace

char32_t simpleFolding(char32_t character) noexcept {
  constexpr char32_t kToLower = U'a' - U'A';
  if (character < 0x80) return character >= U'A' && character <= U'Z' ? character + kToLower : character;
  return mapped(character, kSimpleFolding);
}

char32_t simpleUpper(char32_t character) noexcept { return mapped(character, kSimpleUpper); }

}  // namespace tavik
