// Creation of kernels, and the parts used by all operations: errors and the platform.

#include <tavik/PropertyList.h>
#include <tavik/ZRTTavikKernel.h>

#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "kernel/RuleDocuments.h"
#include "values/File.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

constexpr std::string_view kTooLarge = "the rule library is larger than 64 MiB";
static_assert(kLargestRuleDocument == std::size_t{64} << 20);

std::nullopt_t unreadable(std::string description, Reason& why) {
  why = {Reason::Category::kUnreadable, std::move(description)};
  return std::nullopt;
}

std::optional<Dictionary> libraryIn(std::span<const std::uint8_t> bytes, Reason& why) {
  if (bytes.size() > kLargestRuleDocument) return unreadable(std::string(kTooLarge), why);
  std::string error;
  const std::optional<Value> library = readPropertyList(bytes, error);
  if (!library) return unreadable(std::move(error), why);
  if (library->ifDictionary() == nullptr) return unreadable("the rule library is not a dictionary", why);
  return *library->ifDictionary();
}

std::optional<Dictionary> libraryAt(const std::string& path, Reason& why) {
  std::vector<std::uint8_t> bytes;
  std::string error = readFile(path, {kLargestRuleDocument, kTooLarge}, bytes);
  return error.empty() ? libraryIn(bytes, why) : unreadable(std::move(error), why);
}

}  // namespace

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
  Reason ignored;
  return init(path, std::move(platform), ignored);
}

std::unique_ptr<ZRTTavikKernel> ZRTTavikKernel::init(const std::string& path, std::shared_ptr<const Platform> platform,
                                                     Reason& why) {
  const PredicateKernel base(platform);
  if (const auto library = libraryAt(path, why)) return init(*library, std::move(platform), why);
  tavik::log(*platform, "!!!ERROR no rules at path!!!:%@", Value(path));
  return nullptr;
}

std::unique_ptr<ZRTTavikKernel> ZRTTavikKernel::init(std::span<const std::uint8_t> signedLibrary,
                                                     std::shared_ptr<const Platform> platform, Reason& why) {
  const PredicateKernel base(platform);
  const auto library = libraryIn(signedLibrary, why);
  return library ? init(*library, std::move(platform), why) : nullptr;
}

std::unique_ptr<ZRTTavikKernel> ZRTTavikKernel::init(const Dictionary& signedLibrary,
                                                     std::shared_ptr<const Platform> platform, Reason& why) {
  const PredicateKernel base(platform);
  auto [rules, rejection] = validatedContent(*platform, signedLibrary);
  if (!rejection) return std::unique_ptr<ZRTTavikKernel>(new ZRTTavikKernel(std::move(platform), std::move(rules)));
  if (rejection->category == Reason::Category::kNotTrusted) {
    tavik::log(*platform, "!!!ERROR can not validate Rule Library!!!:%@", Value(rejection->description));
  }
  why = *std::move(rejection);
  return nullptr;
}

}  // namespace tavik
