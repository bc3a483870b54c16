/// @file
/// Visits all elements of DER-encoded bytes, including those in constructed ones, at any depth.
#ifndef TAVIK_TOOL_DECODE_DER_WALK_H
#define TAVIK_TOOL_DECODE_DER_WALK_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace tavik::tool {

struct DerElement {
  std::uint32_t offset;        ///< of the encoding, from the first byte of all
  std::uint32_t headerLength;  ///< identifier and length octets
  std::uint32_t tagClass;
  std::uint32_t tag;
  bool constructed;
  std::span<const std::uint8_t> content;
};

class DerVisitor {
 public:
  DerVisitor() = default;
  DerVisitor(const DerVisitor&) = delete;
  DerVisitor& operator=(const DerVisitor&) = delete;
  virtual ~DerVisitor() = default;

  /// An element at nesting level `depth`. The elements of a constructed one follow.
  virtual void enter(const DerElement& element, std::size_t depth) = 0;
  /// The end of the constructed element that was entered last, even if reading ended inside it.
  virtual void leave() = 0;
};

struct DerEnd {
  std::uint32_t status;  ///< kDERDecoderErrorNone at the end of the bytes, otherwise the decoder's status
  std::uint32_t offset;  ///< where reading ended
};

/// Visits every element in order until one cannot be read. Takes linear time and does not recurse.
DerEnd walkDer(std::span<const std::uint8_t> bytes, DerVisitor& visitor);

/// "SEQUENCE", "[3]", "APPLICATION 5".
std::string derTagText(const DerElement& element);

/// The content of a primitive element on one line: a number, an object identifier, a quoted string, or the first bytes.
std::string derContentText(const DerElement& element);

}  // namespace tavik::tool

#endif
