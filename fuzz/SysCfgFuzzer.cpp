// SysCfg blobs. There must be no more fields than entries, tags must have four characters, and the total size of the
// values must not exceed the limit for overlapping values.

#include <tavik/SystemConfig.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

std::size_t characterCount(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tavik::Data blob({data, size});
  const tavik::Dictionary fields = tavik::SystemConfig::sysCfgFromData(&blob);
  if (fields.size() > size / 20) std::abort();
  std::size_t total = 0;
  for (const auto [tag, value] : fields) {
    if (characterCount(tag) != 4 || (!value.isString() && value.ifData() == nullptr)) std::abort();
    total += value.isString() ? value.ifString()->size() : value.ifData()->size();
  }
  if (total > std::max(std::size_t{16} << 20, 8 * size)) std::abort();
  return 0;
}
