// Creation of kernels, and the parts used by all operations: errors and the platform.

#include <tavik/PropertyList.h>
#include <tavik/ZRTTavikKernel.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "kernel/RuleDocuments.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

std::string tooLarge() {
  return "the rule library is larger than " + std::to_string(kLargestRuleDocument >> 20U) + " MiB";
}

}  // namespace

PredicateKernel::PredicateKernel(std::shared_ptr<const Platform> platform) : platform_(std::move(platform)) {
  if (platform_ == nullptr) throw std::invalid_argument("a kernel needs a platform");
}

Error PredicateKernel::handleError(std::int32_t code, std::string_view msg) const {
  tavik::log(platform(), "*******ERROR:%@*******", Value(msg));
  return {code, msg};
}

ZRTTavikKernel::ZRTTavikKernel(std::shared_ptr<const Platform> platform, Dictionary rules,
                               std::shared_ptr<const DocumentProvenance> provenance)
    : PredicateKernel(std::move(platform)), rules_(std::move(rules)), provenance_(std::move(provenance)) {}

ZRTTavikKernel::~ZRTTavikKernel() = default;

std::unique_ptr<ZRTTavikKernel> ZRTTavikKernel::init(const std::string& path,
                                                     std::shared_ptr<const Platform> platform) {
  Reason ignored;
  return init(path, std::move(platform), ignored);
}

std::unique_ptr<ZRTTavikKernel> ZRTTavikKernel::init(const std::string& path, std::shared_ptr<const Platform> platform,
                                                     Reason& why) {
  const PredicateKernel base(platform);
  std::error_code noSize;  // why there is none is for the reader to say
  const std::uintmax_t size = std::filesystem::file_size(path, noSize);
  std::string error = tooLarge();
  std::optional<Value> file;
  if (noSize || size <= kLargestRuleDocument) file = readPropertyListFile(path, error);
  if (file && file->ifDictionary() != nullptr) return init(*file->ifDictionary(), std::move(platform), why);
  tavik::log(*platform, "!!!ERROR no rules at path!!!:%@", Value(path));
  why = {Reason::Category::kUnreadable, file ? "the rule library is not a dictionary" : std::move(error)};
  return nullptr;
}

std::unique_ptr<ZRTTavikKernel> ZRTTavikKernel::init(std::span<const std::uint8_t> signedLibrary,
                                                     std::shared_ptr<const Platform> platform, Reason& why) {
  const PredicateKernel base(platform);
  std::string error = tooLarge();
  std::optional<Value> library;
  if (signedLibrary.size() <= kLargestRuleDocument) library = readPropertyList(signedLibrary, error);
  if (library && library->ifDictionary() != nullptr) return init(*library->ifDictionary(), std::move(platform), why);
  why = {Reason::Category::kUnreadable, library ? "the rule library is not a dictionary" : std::move(error)};
  return nullptr;
}

std::unique_ptr<ZRTTavikKernel> ZRTTavikKernel::init(const Dictionary& signedLibrary,
                                                     std::shared_ptr<const Platform> platform, Reason& why) {
  const PredicateKernel base(platform);
  auto [rules, rejection, provenance] = validatedContent(*platform, signedLibrary, DocumentRole::kLibrary);
  if (!rejection) {
    return std::unique_ptr<ZRTTavikKernel>(new ZRTTavikKernel(
        std::move(platform), std::move(rules), std::make_shared<const DocumentProvenance>(std::move(provenance))));
  }
  if (rejection->category == Reason::Category::kNotTrusted) {
    tavik::log(*platform, "!!!ERROR can not validate Rule Library!!!:%@", Value(rejection->description));
  }
  why = *std::move(rejection);
  return nullptr;
}

}  // namespace tavik
