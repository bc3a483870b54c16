#include "rules/LoadedRules.h"

#include <fmt/format.h>
#include <tavik/Json.h>
#include <tavik/PropertyList.h>

#include <utility>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "rules/RuleDocuments.h"
#include "text/Text.h"

namespace tavik::station {
namespace {

std::string encoded(const std::string& name, const Dictionary& content) {
  const Data data = tool::toPropertyList(name, Value(content), PropertyListFormat::kBinary);
  return std::string(tool::textOf(data.bytes()));
}

}  // namespace

LoadedRules::LoadedRules(const RuleFiles& files) : platform_(std::make_shared<tool::HostPlatform>(files.platform)) {
  tool::Inputs inputs;
  kernel_ = tool::readLibrary(inputs, "--library", files.library, platform_);
  const std::string library = encoded(tool::nameOf("--library", files.library), kernel_->library());
  for (const std::string& path : files.rules) {
    const std::string name = tool::nameOf("--rules", path);
    Product product{path, tool::readLocalRules(inputs, "--rules", path, *kernel_), nullptr};
    tool::requireWellFormed(name, product.rules->localRules(), *kernel_);
    const Provenance& provenance = *product.rules->provenance();
    product.documents = std::make_shared<const DocumentSet>(
        DocumentSet{tool::toJson(Value(provenance.dictionary())), library, encoded(name, product.rules->localRules())});
    limitBy(provenance.library);
    limitBy(provenance.rules);
    add(product, products_.size());
    products_.push_back(std::move(product));
  }
}

void LoadedRules::add(const Product& product, std::size_t position) {
  const auto claim = [&](std::string_view partNumber) {
    const auto [place, isNew] = byPartNumber_.try_emplace(std::string(partNumber), position);
    if (isNew) return;
    const std::string what =
        partNumber.empty() ? "applies to every part number"
                           : fmt::format("has the part number \"{}\"", tool::shortened(tool::visible(partNumber), 40));
    throw tool::Failure(tool::ExitStatus::kNoVerdict,
                        fmt::format("{}: {}, and so does {}; remove one of them", tool::nameOf("--rules", product.path),
                                    what, products_[place->second].path));
  };
  const Dictionary* const partNumbers = product.rules->localRules().findDictionary("MPNRules");
  if (partNumbers == nullptr) return claim("");
  for (const auto [partNumber, entries] : *partNumbers) claim(partNumber);
}

void LoadedRules::limitBy(const DocumentProvenance& document) {
  if (!document.statement || !document.statement->expires) return;
  const Milliseconds expires = millisecondsOf(*document.statement->expires);
  if (!expires_ || expires < *expires_) expires_ = expires;
}

std::optional<std::string> LoadedRules::whyUnusable() const {
  if (!expires_ || now() < *expires_) return std::nullopt;
  return fmt::format("a rule document expired on {}; install a new one", isoText(*expires_));
}

const Product& LoadedRules::productOf(const Dictionary& attributes) const {
  auto place = byPartNumber_.find(attributes.findString("ModelNumber").value_or(""));
  if (place == byPartNumber_.end()) place = byPartNumber_.find("");
  return products_[place == byPartNumber_.end() ? 0 : place->second];
}

}  // namespace tavik::station
