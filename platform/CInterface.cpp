// The C interface to the platform of a test station.

#include <tavik/PlatformHandle.h>
#include <tavik/StationPlatform.h>
#include <tavik/tavik_platform.h>

#include <new>

tavik_status tavik_station_platform_new(const char* public_key_path, int32_t log, tavik_platform** platform) {
  using tavik::StationPlatform;
  if (platform == nullptr) return TAVIK_NULL_ARGUMENT;
  *platform = nullptr;
  if (log != TAVIK_LOG_NONE && log != TAVIK_LOG_STANDARD_ERROR) return TAVIK_BAD_ARGUMENT;
  try {
    const auto path = public_key_path != nullptr ? std::optional<std::string>(public_key_path) : std::nullopt;
    const auto where = log == TAVIK_LOG_NONE ? StationPlatform::Log::kNone : StationPlatform::Log::kStandardError;
    return tavik::makePlatformHandle(std::make_shared<const StationPlatform>(path, where), platform);
  } catch (const std::bad_alloc&) {
    return TAVIK_NO_MEMORY;
  } catch (...) {
    return TAVIK_INTERNAL;
  }
}
