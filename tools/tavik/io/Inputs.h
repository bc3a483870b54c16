/// @file
/// What a command reads: files and standard input, up to a limit. Every function raises `Unusable` with the argument,
/// the place and the reason.
#ifndef TAVIK_TOOL_IO_INPUTS_H
#define TAVIK_TOOL_IO_INPUTS_H

#include <tavik/Value.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "io/FileDescriptor.h"

namespace tavik::tool {

/// No input may be larger, and no rule document larger than `kLargestRuleDocument`.
inline constexpr std::size_t kLargestInput = std::size_t{1} << 30;

/// A path is that of a regular file or a pipe; "-" is standard input, which can be read once. `argument` names the
/// option in messages and is empty for an argument without a name.
class Inputs {
 public:
  /// The file, to be read piece by piece however long it is.
  FileDescriptor open(std::string_view argument, const std::string& path);
  /// The contents as they are.
  std::string bytes(std::string_view argument, const std::string& path, std::size_t largest = kLargestInput);
  /// A value: a property list in any encoding, or JSON.
  Value value(std::string_view argument, const std::string& path, std::size_t largest = kLargestInput);
  /// The same, which must be a dictionary.
  Dictionary dictionary(std::string_view argument, const std::string& path, std::size_t largest = kLargestInput);
  /// A rule document, signed or not.
  Dictionary ruleDocument(std::string_view argument, const std::string& path);
  /// JSON text in place, or "@FILE".
  Value inPlace(std::string_view argument, const std::string& textOrFile);

 private:
  bool standardInputTaken_ = false;
};

}  // namespace tavik::tool

#endif
