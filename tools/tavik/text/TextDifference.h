/// @file
/// Marks the differences between the text that was found and the expected text.
#ifndef TAVIK_TOOL_TEXT_TEXT_DIFFERENCE_H
#define TAVIK_TOOL_TEXT_TEXT_DIFFERENCE_H

#include <string_view>
#include <vector>

#include "text/Text.h"

namespace tavik::tool {

/// The parts of each text that the other one lacks, in order and not overlapping. Both are empty if the texts cannot be
/// compared, such as "32" and "no less than 64".
struct Difference {
  std::vector<Span> actual;
  std::vector<Span> expected;
};

/// Compares "actual" with "expected" of a failing record. Understands the texts that predicates add to a value: "equal
/// V", "has prefix V", "one of V,W", "and mask M equal V", and two results joined by " and " or " or ". Texts of more
/// than 256 KiB are not compared.
Difference differenceOf(std::string_view actual, std::string_view expected);

}  // namespace tavik::tool

#endif
