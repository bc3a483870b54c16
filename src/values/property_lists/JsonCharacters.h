/// @file
/// Finds the characters of JSON strings that need no escape, eight at a time.
#ifndef TAVIK_VALUES_PROPERTY_LISTS_JSON_CHARACTERS_H
#define TAVIK_VALUES_PROPERTY_LISTS_JSON_CHARACTERS_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tavik {

/// The characters that end a string or need an escape in it: quotes, backslashes, control characters.
inline constexpr std::array<bool, 256> kSpecialInJson = [] {
  std::array<bool, 256> special{};
  for (std::size_t byte = 0; byte < 0x20; ++byte) special[byte] = true;
  special['"'] = special['\\'] = true;
  return special;
}();
inline bool isSpecialInJson(char character) noexcept { return kSpecialInJson[static_cast<unsigned char>(character)]; }

/// Eight characters, the first one in the lowest byte.
inline std::uint64_t eightCharacters(const char* text) noexcept {
  std::uint64_t characters = 0;
  std::memcpy(&characters, text, sizeof characters);
  if constexpr (std::endian::native == std::endian::big) characters = __builtin_bswap64(characters);
  return characters;
}

/// Zero if none of eight characters is special. Otherwise the lowest bit that is set is the highest bit of the first
/// special character.
inline std::uint64_t specialAmong(std::uint64_t characters) noexcept {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kOnes;
  // Subtracting a limit from a lower byte borrows from its highest bit, and possibly from the next byte.
  const auto lessThan = [](std::uint64_t bytes, std::uint64_t limit) { return (bytes - limit * kOnes) & ~bytes; };
  return (lessThan(characters, 0x20) | lessThan(characters ^ '"' * kOnes, 1) | lessThan(characters ^ '\\' * kOnes, 1)) &
         kHighBits;
}

/// The characters before the first special one, followed by zeros.
inline std::uint64_t charactersBefore(std::uint64_t special, std::uint64_t characters) noexcept {
  return characters & (((special & -special) >> 7) - 1);
}

inline bool isAscii(std::uint64_t characters) noexcept { return (characters & 0x8080808080808080) == 0; }

}  // namespace tavik

#endif
