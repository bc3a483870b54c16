// Binary property lists. Whatever is refused has a reason; whatever is read is written, read back and written the same,
// as binary and as XML.

#include <tavik/PropertyList.h>

#include <cstdlib>
#include <vector>

using tavik::PropertyListFormat;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::uint8_t> document(data, data + size);  // a block of its own, exactly this long
  std::string error;
  const std::optional<tavik::Value> value = tavik::readPropertyList(document, error);
  if (value.has_value() != error.empty()) std::abort();
  if (!value) return 0;
  for (const PropertyListFormat format : {PropertyListFormat::kBinary, PropertyListFormat::kXml}) {
    const std::optional<tavik::Data> once = tavik::writePropertyList(*value, format, error);
    if (!once) std::abort();
    const std::optional<tavik::Value> again = tavik::readPropertyList(once->bytes(), error);
    if (!again || tavik::writePropertyList(*again, format, error) != once) std::abort();
  }
  return 0;
}
