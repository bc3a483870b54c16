/// @file
/// The inputs of a command: files and standard input, up to a size limit. Every function throws `Unusable` with the
/// argument, the location and the reason.
#ifndef TAVIK_TOOL_IO_INPUTS_H
#define TAVIK_TOOL_IO_INPUTS_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "io/FileDescriptor.h"

namespace tavik::tool {

/// The size limit of an input; `kLargestRuleDocument` limits rule documents.
inline constexpr std::size_t kLargestInput = std::size_t{1} << 30;

/// A path names a regular file or a pipe; "-" is standard input, which can be read once. `argument` names the option in
/// messages and is empty for an argument without a name.
class Inputs {
 public:
  enum class Kinds : std::uint8_t {
    kAll,
    kFiles,  ///< regular files only: opening or reading a pipe can take forever
  };
  explicit Inputs(Kinds kinds = Kinds::kAll) : kinds_(kinds) {}

  /// Opens the file to be read piece by piece, without a size limit.
  FileDescriptor open(std::string_view argument, const std::string& path);
  /// Returns the contents unchanged.
  std::string bytes(std::string_view argument, const std::string& path, std::size_t largest = kLargestInput);
  /// A value: a property list in any encoding, or JSON.
  Value value(std::string_view argument, const std::string& path, std::size_t largest = kLargestInput);
  /// The same; the value must be a dictionary.
  Dictionary dictionary(std::string_view argument, const std::string& path, std::size_t largest = kLargestInput);
  /// A rule document, signed or not.
  Dictionary ruleDocument(std::string_view argument, const std::string& path);
  /// Inline JSON text, or "@FILE".
  Value inPlace(std::string_view argument, const std::string& textOrFile);

 private:
  Kinds kinds_;
  bool standardInputTaken_ = false;
};

}  // namespace tavik::tool

#endif
