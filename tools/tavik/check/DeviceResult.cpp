#include "check/DeviceResult.h"

namespace tavik::tool {

std::span<const std::string> DeviceResult::aboutDevice() const {
  if (!notes || passed()) return {};
  return notes->aboutDevice();
}

std::vector<JsonEntry> entriesOf(const DeviceResult& result) {
  if (!result.inputError.empty()) return {{"id", result.id}, {"input_error", result.inputError}};
  std::vector<JsonEntry> entries = entriesOf(result.outcome);
  entries.insert(entries.begin(), {"id", result.id});
  return entries;
}

}  // namespace tavik::tool
