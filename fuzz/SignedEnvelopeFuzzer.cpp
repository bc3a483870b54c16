// Signed envelopes and key files. The input is a property list. If it begins with '-', a key file and a form feed come
// first. A rejection must have a reason, and a trusted document must equal its payload or the document in its
// statement. A platform that has seen other documents must give the same answer as a new one, and the same answer
// again.

#include <sys/mman.h>
#include <tavik/PropertyList.h>
#include <tavik/StationPlatform.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "Choices.h"

namespace {

constexpr std::string_view kStationKey =
    "-----BEGIN PUBLIC KEY-----\n"
    "MCowBQYDK2VwAyEALs39Hf5UvT41UpQ2s6RYm/5TcdNVxrD3zjoxtNF7SCY=\n"
    "-----END PUBLIC KEY-----\n";

// Writes the key file to memory and returns its path.
std::string keyFile(std::string_view text) {
  static const int file = memfd_create("keys", MFD_CLOEXEC);
  if (file < 0 || ftruncate(file, 0) != 0 || pwrite(file, text.data(), text.size(), 0) < 0) std::abort();
  return "/proc/self/fd/" + std::to_string(file);
}

struct Verdict {
  std::optional<tavik::Value> trusted;
  std::optional<std::string> reason;
};

Verdict verdictOf(const tavik::StationPlatform& platform, const tavik::Dictionary& envelope, const std::string& keys) {
  Verdict verdict;
  verdict.trusted = platform.validatedPropertyListFromSignedDictionary(envelope, keys, verdict.reason);
  return verdict;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::uint8_t* end = data + size;
  const std::uint8_t* keysEnd = size > 0 && *data == '-' ? std::find(data, end, '\f') : end;
  const bool hasKeys = keysEnd != end;
  const std::vector<std::uint8_t> document(hasKeys ? keysEnd + 1 : data, end);  // a separate block of exactly this size
  const std::string keys = hasKeys ? std::string(data, keysEnd) : std::string(kStationKey);

  std::string error;
  const std::optional<tavik::Value> value = tavik::readPropertyList(document, error);
  if (!value || value->ifDictionary() == nullptr) return 0;
  const tavik::Dictionary& envelope = *value->ifDictionary();

  const std::string keyPath = keyFile(keys);
  const auto [trusted, reason] = verdictOf(tavik::StationPlatform(), envelope, keyPath);
  static const tavik::StationPlatform seasoned;
  for (int round = 0; round < 2; ++round) {
    const Verdict again = verdictOf(seasoned, envelope, keyPath);
    if (again.reason != reason || again.trusted.has_value() != trusted.has_value()) std::abort();
    if (trusted && tavik::exact::text(*again.trusted) != tavik::exact::text(*trusted)) std::abort();
  }
  if (trusted.has_value() == reason.has_value() || (reason && reason->empty())) std::abort();
  if (!trusted) return 0;
  const std::optional<tavik::Value> payload = tavik::readPropertyList(envelope.findData("payload")->bytes(), error);
  if (!payload || trusted->ifDictionary() == nullptr) std::abort();
  const bool isStatement = envelope.findString("payloadType") == "application/vnd.tavik.statement+plist";
  const tavik::Value& content = isStatement ? *payload->ifDictionary()->find("document") : *payload;
  if (tavik::exact::text(content) != tavik::exact::text(*trusted)) std::abort();
  return 0;
}
