// Binary property lists, written as binary and as XML.

#include "PropertyListRoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using enum tavik::PropertyListFormat;
  tavik::roundTrip(data, size, {kBinary, kXml});
  return 0;
}
