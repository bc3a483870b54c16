// Both kinds of manifests. Every manifest that opens must give a dictionary, with no more items than its set has bytes
// for, and with values that are strings or data.

#include <tavik/ManifestParser.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

void decode(const std::vector<std::uint8_t>& input, TavikManifestBodyParser parser) {
  const std::uint8_t none = 0;
  DERDecoder items{};
  const std::uint32_t status = getManifestDecoder(input.empty() ? &none : input.data(),
                                                  static_cast<std::uint32_t>(input.size()), &items, parser);
  const auto dictionary = tavik::ManifestParser::dictFromData({{"manifest", tavik::Data(input)}}, "manifest", parser);
  if (dictionary.has_value() != (status == kDERDecoderErrorNone)) std::abort();
  if (!dictionary) return;
  if (dictionary->size() > items.length / 2) std::abort();
  for (const auto [name, value] : *dictionary) {
    if (name.empty() || name == "Unknown" || (!value.isString() && value.ifData() == nullptr)) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::uint8_t> input(data, data + size);  // a separate block of exactly this size
  decode(input, decodeRootManifest);
  decode(input, decodeProvisioningManifest);
  return 0;
}
