// Creation of kernels, and what every operation shares: errors and the platform.

#include <tavik/PropertyList.h>
#include <tavik/ZRTTavikKernel.h>

#include <stdexcept>

#include "values/Format.h"

namespace tavik {

PredicateKernel::PredicateKernel(std::shared_ptr<const Platform> platform) : platform_(std::move(platform)) {
  if (platform_ == nullptr) throw std::invalid_argument("a kernel needs a platform");
}

Error PredicateKernel::handleError(std::int32_t code, std::string_view msg) const {
  tavik::log(platform(), "*******ERROR:%@*******", Value(msg));
  return {code, msg};
}

ZRTTavikKernel::ZRTTavikKernel(std::shared_ptr<const Platform> platform, Dictionary rules)
    : PredicateKernel(std::move(platform)), rules_(std::move(rules)) {}

ZRTTavikKernel::~ZRTTavikKernel() = default;

std::unique_ptr<ZRTTavikKernel> ZRTTavikKernel::init(const std::string& path,
                                                     std::shared_ptr<const Platform> platform) {
  const PredicateKernel base(platform);
  std::string readError;
  const auto file = readPropertyListFile(path, readError);
  if (!file || file->ifDictionary() == nullptr) {
    tavik::log(*platform, "!!!ERROR no rules at path!!!:%@", Value(path));
    return nullptr;
  }
  std::optional<std::string> invalid;
  const auto rules =
      platform->validatedPropertyListFromSignedDictionary(*file->ifDictionary(), kPublicKeyPath, invalid);
  if (invalid) {
    tavik::log(*platform, "!!!ERROR can not validate Rule Library!!!:%@", Value(*invalid));
    return nullptr;
  }
  if (!rules || rules->ifDictionary() == nullptr || rules->ifDictionary()->empty()) return nullptr;
  return std::unique_ptr<ZRTTavikKernel>(new ZRTTavikKernel(std::move(platform), *rules->ifDictionary()));
}

}  // namespace tavik
