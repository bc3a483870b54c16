// A whole check run: rule library, local rules, device, sources, in this order and divided by form feeds, each a
// property list in any encoding. Only the two kinds of fault may come out, and the lists and the run must agree on
// whether rules assemble.

#include <sys/mman.h>
#include <tavik/TavikKernel.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace {

using namespace tavik;

class TrustingPlatform : public Platform {
 public:
  std::optional<Value> validatedPropertyListFromSignedDictionary(const Dictionary& signedDictionary,
                                                                 const std::string& /*publicKeyPath*/,
                                                                 std::optional<std::string>& /*error*/) const override {
    return Value(signedDictionary);
  }
  void log(std::string_view line) const override { length += line.size(); }
  mutable std::size_t length = 0;
};

using Documents = std::array<Dictionary, 4>;

std::optional<Documents> documentsOf(std::vector<std::uint8_t> input) {
  Documents documents;
  auto begin = input.begin();
  for (Dictionary& document : documents) {
    const auto end = std::find(begin, input.end(), '\f');
    std::string error;
    const auto value = readPropertyList({begin, end}, error);
    if (!value || value->ifDictionary() == nullptr) return std::nullopt;
    document = *value->ifDictionary();
    begin = end == input.end() ? end : end + 1;
  }
  return documents;
}

// A kernel reads its library from a path, which a file without a name has too.
std::unique_ptr<ZRTTavikKernel> kernelOver(const Dictionary& library) {
  std::string error;
  const auto bytes = writePropertyList(Value(library), PropertyListFormat::kBinary, error);
  if (!bytes) return nullptr;
  const int file = memfd_create("library", MFD_CLOEXEC);
  const auto span = bytes->bytes();
  if (write(file, span.data(), span.size()) != static_cast<ssize_t>(span.size())) std::abort();
  auto kernel = ZRTTavikKernel::init("/proc/self/fd/" + std::to_string(file), std::make_shared<TrustingPlatform>());
  close(file);
  return kernel;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto documents = documentsOf(std::vector<std::uint8_t>(data, data + size));
  if (!documents) return 0;
  const auto& [library, rules, device, sources] = *documents;
  const auto kernel = kernelOver(library);
  if (kernel == nullptr) return 0;
  std::optional<Error> error;
  const bool assembles = kernel->sfcCheckList(rules, device, error).has_value();
  if (assembles != kernel->getDomainList(rules, device, error).has_value()) std::abort();
  Dictionary station;
  try {
    const auto records = kernel->check(device, &rules, &sources, &station, error);
    if (!records && !error) std::abort();
    if (records && records->size() > 4 && !assembles) std::abort();
  } catch (const std::out_of_range&) {
  } catch (const std::invalid_argument&) {
  }
  return 0;
}
