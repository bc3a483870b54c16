// Control-bit blocks. The result must have all complete records of the block, each with six entries.

#include <tavik/SystemConfig.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tavik::Data block({data, size});
  const tavik::Array records = tavik::SystemConfig::controlBitsFromData(&block);
  if (records.size() != (size < 64 ? 0 : std::min<std::size_t>(254, (size - 64) / 32))) std::abort();
  for (const tavik::Value& record : records) {
    const tavik::Dictionary& fields = *record.ifDictionary();
    if (fields.size() != 6 || fields.findString("Software Version")->size() > 48) std::abort();
  }
  return 0;
}
