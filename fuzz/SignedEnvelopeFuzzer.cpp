// Signed envelopes and key files. Input: a property list; one that begins with '-' has its key file in front, up to a
// form feed. Whatever is refused has a reason, and whatever is trusted is what the payload reads as.

#include <sys/mman.h>
#include <tavik/PropertyList.h>
#include <tavik/StationPlatform.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

constexpr std::string_view kStationKey =
    "-----BEGIN PUBLIC KEY-----\n"
    "MCowBQYDK2VwAyEALs39Hf5UvT41UpQ2s6RYm/5TcdNVxrD3zjoxtNF7SCY=\n"
    "-----END PUBLIC KEY-----\n";

// Writes the key file, which lies in memory, and returns its path.
std::string keyFile(std::string_view text) {
  static const int file = memfd_create("keys", MFD_CLOEXEC);
  if (file < 0 || ftruncate(file, 0) != 0 || pwrite(file, text.data(), text.size(), 0) < 0) std::abort();
  return "/proc/self/fd/" + std::to_string(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::uint8_t* end = data + size;
  const std::uint8_t* keysEnd = size > 0 && *data == '-' ? std::find(data, end, '\f') : end;
  const bool hasKeys = keysEnd != end;
  const std::vector<std::uint8_t> document(hasKeys ? keysEnd + 1 : data, end);  // a block of its own, exactly this long
  const std::string keys = hasKeys ? std::string(data, keysEnd) : std::string(kStationKey);

  std::string error;
  const std::optional<tavik::Value> value = tavik::readPropertyList(document, error);
  if (!value || value->ifDictionary() == nullptr) return 0;
  const tavik::Dictionary& envelope = *value->ifDictionary();

  std::optional<std::string> reason;
  const std::optional<tavik::Value> trusted =
      tavik::StationPlatform().validatedPropertyListFromSignedDictionary(envelope, keyFile(keys), reason);
  if (trusted.has_value() == reason.has_value() || (reason && reason->empty())) std::abort();
  if (!trusted) return 0;
  const std::optional<tavik::Value> payload = tavik::readPropertyList(envelope.findData("payload")->bytes(), error);
  if (!payload || trusted->ifDictionary() == nullptr) std::abort();
  if (tavik::description(&*payload) != tavik::description(&*trusted)) std::abort();  // as text: a NaN equals nothing
  return 0;
}
