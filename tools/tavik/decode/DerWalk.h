/// @file
/// A walk over all elements of DER-encoded bytes, into the constructed ones too, at any depth.
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

  /// An element, after `depth` elements that it lies in. The elements of a constructed one come next.
  virtual void enter(const DerElement& element, std::size_t depth) = 0;
  /// The end of the constructed element entered last, also when reading ended inside it.
  virtual void leave() = 0;
};

struct DerEnd {
  std::uint32_t status;  ///< kDERDecoderErrorNone at the end of the bytes, else the decoder's status
  std::uint32_t offset;  ///< where reading ended
};

/// Visits every element in order until one cannot be read. Time is linear in the bytes; the stack is not in use for
/// depth.
DerEnd walkDer(std::span<const std::uint8_t> bytes, DerVisitor& visitor);

/// "SEQUENCE", "[3]", "APPLICATION 5".
std::string derTagText(const DerElement& element);

/// What a primitive element holds, on one line: a number, an object identifier, a text in quotes, or the first bytes.
std::string derContentText(const DerElement& element);

}  // namespace tavik::tool

#endif
