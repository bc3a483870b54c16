/// @file
/// The simple case mappings of the Unicode character data: one character to one character.
#ifndef TAVIK_VALUES_CASE_MAPPING_H
#define TAVIK_VALUES_CASE_MAPPING_H

namespace tavik {

char32_t simpleFolding(char32_t character) noexcept;
char32_t simpleUpper(char32_t character) noexcept;

}  // namespace tavik

#endif
