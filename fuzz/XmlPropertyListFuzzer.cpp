// XML property lists.

#include "PropertyListRoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using enum tavik::PropertyListFormat;
  tavik::roundTrip(data, size, {kXml});
  return 0;
}
