/// @file
/// The predicates whose "expected" is the same whatever the device says: it can be made before there is a device.
#ifndef TAVIK_KERNEL_ALGORITHMS_COMPARISON_H
#define TAVIK_KERNEL_ALGORITHMS_COMPARISON_H

#include <tavik/Value.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "values/SharedContents.h"

namespace tavik {

struct Comparison {
  struct Finding {
    bool result;
    Value actual;
  };
  /// Holds a device's value against the expected one.
  Finding (*judge)(const Value* attribute, const Value* value);
  /// What a record says of the expected value. `slabs`: where its text is cut from, may be null.
  Value (*expected)(const Value* value, detail::SlabCutter* slabs);

  /// The record of the two.
  [[nodiscard]] Dictionary record(const Value* attribute, const Value* value) const;
};

/// A pattern that ends in "%@", as a template argument.
template <std::size_t kSize>
struct Pattern {
  consteval Pattern(const char (&pattern)[kSize]) {
    if (!std::string_view(pattern).ends_with("%@")) throw "what the expected value is to print is missing";
    std::ranges::copy(pattern, text);
  }
  [[nodiscard]] constexpr std::string_view beforeValue() const { return {text, kSize - sizeof "%@"}; }

  char text[kSize] = {};
};

/// An "expected" that is a text and the expected value's description.
Value expectedAfter(std::string_view before, const Value* value, detail::SlabCutter* slabs);

/// The same as a pattern about the expected value.
template <Pattern kPattern>
Value expectedText(const Value* value, detail::SlabCutter* slabs) {
  return expectedAfter(kPattern.beforeValue(), value, slabs);
}

/// An "expected" about the elements of a list, with `delineator` between them.
Value expectedList(std::string_view before, const Value* list, std::string_view delineator, detail::SlabCutter* slabs);
/// "one of" and the list's elements.
Value expectedOneOf(const Value* list, detail::SlabCutter* slabs);

extern const Comparison kBoolEqual;
extern const Comparison kCaseInsensitiveEqual;
extern const Comparison kCaseInsensitiveEqualData;
extern const Comparison kContains;
extern const Comparison kDataNotNull;
extern const Comparison kEqual;
extern const Comparison kEqualData;
extern const Comparison kEqualLong;
extern const Comparison kGreaterThan;
extern const Comparison kHasPrefix;
extern const Comparison kHasSuffix;
extern const Comparison kMPN4CCheck;
extern const Comparison kMPN4CListCheck;
extern const Comparison kMPN4ECheck;
extern const Comparison kMPN4EListCheck;
extern const Comparison kMPNCCCCheck;
extern const Comparison kMinimumNandSize;
extern const Comparison kNandSizeCheck;
extern const Comparison kNvramWhiteList;
extern const Comparison kSystemPartitionSizeCheck;
extern const Comparison kValidIMEI;
extern const Comparison kValueInList;
extern const Comparison kVarnockSystemPartitionSizeCheck;

}  // namespace tavik

#endif
