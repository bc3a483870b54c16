// The C interface to the platform of a test station.

#include <tavik/PlatformHandle.h>
#include <tavik/StationPlatform.h>
#include <tavik/tavik_platform.h>

#include <new>
#include <optional>
#include <string>
#include <utility>

namespace tavik {
namespace {

/// Absent for an unknown number.
std::optional<StationPlatform::Log> logOf(int32_t number) {
  if (number == TAVIK_LOG_NONE) return StationPlatform::Log::kNone;
  if (number == TAVIK_LOG_STANDARD_ERROR) return StationPlatform::Log::kStandardError;
  return std::nullopt;
}

/// The status of an operation that may throw.
template <class Operation>
tavik_status statusOf(Operation operation) noexcept {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    return TAVIK_NO_MEMORY;
  } catch (...) {
    return TAVIK_INTERNAL;
  }
}

}  // namespace
}  // namespace tavik

tavik_status tavik_station_platform_new(const char* public_key_path, int32_t log, tavik_platform** platform) {
  if (platform == nullptr) return TAVIK_NULL_ARGUMENT;
  *platform = nullptr;
  const auto where = tavik::logOf(log);
  if (!where) return TAVIK_BAD_ARGUMENT;
  return tavik::statusOf([&] {
    const auto path = public_key_path != nullptr ? std::optional<std::string>(public_key_path) : std::nullopt;
    return tavik::makePlatformHandle(std::make_shared<const tavik::StationPlatform>(path, *where), platform);
  });
}

tavik_status tavik_station_platform_new_with_policy(const char* policy_path, int32_t remember, int32_t log,
                                                    tavik_platform** platform, tavik_error** error) {
  if (error != nullptr) *error = nullptr;
  if (platform == nullptr) return TAVIK_NULL_ARGUMENT;
  *platform = nullptr;
  const auto where = tavik::logOf(log);
  if (policy_path == nullptr) return TAVIK_NULL_ARGUMENT;
  if (!where || (remember != 0 && remember != 1)) return TAVIK_BAD_ARGUMENT;
  return tavik::statusOf([&] {
    std::string why;
    std::optional<tavik::TrustPolicy> policy = tavik::TrustPolicy::read(policy_path, why);
    if (!policy) return tavik::makeErrorHandle(TAVIK_REFUSED, why.c_str(), error);
    policy->remember = remember == 1;
    return tavik::makePlatformHandle(std::make_shared<const tavik::StationPlatform>(*std::move(policy), *where),
                                     platform);
  });
}
