// The check run: from a device's attributes and the local rules to the list of records.

#include <tavik/AbstractTree.h>
#include <tavik/TavikKernelVersion.h>
#include <tavik/ZRTTavikKernel.h>

#include <stdexcept>

#include "kernel_algorithms/RuleResult.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

constexpr std::string_view kDevice = "device";

Dictionary named(Dictionary record, const Value& rule) {
  record.setFirst("rule", rule);
  return record;
}

Dictionary failure(std::string_view rule, std::string_view actual, std::string_view expected) {
  return named(ruleResult(false, actual, expected), rule);
}

// A document's "version" as the text of its record, which cannot hold an absent one.
Dictionary versionRecord(std::string_view rule, const Dictionary& document, std::string_view expected) {
  const Value* version = document.find("version");
  if (version == nullptr) throw std::invalid_argument(format("%@: the document has no \"version\"", {rule}));
  return named(ruleResult(true, formattedValue("%@", {version}), expected), rule);
}

// The evaluation of one device's rules, in order.
class RuleRun {
 public:
  RuleRun(const ZRTTavikKernel& kernel, const Dictionary& attributes, const Dictionary* sources, Dictionary* station,
          std::optional<Error>& error)
      : kernel_(kernel), attributes_(attributes), sources_(sources), station_(station), error_(error) {}

  // The rule's record; absent with the error set when its expression is malformed.
  std::optional<Dictionary> record(const Value& name, const Dictionary& rule) {
    log(kernel_.platform(), "processing %@", {name});
    const Value* attributeName = findIfString(rule, "attribute");
    if (name.ifString()->starts_with("No Attribute")) return notPresentRecord(name, attributeName);
    const Value* attribute = find(&attributes_, attributeName);
    if (attribute == nullptr) return missing(attributeName, name, kDevice);

    std::optional<Dictionary> references;
    if (const Value* list = rule.find("references")) {
      references.emplace();
      if (auto record = gatherReferences(*list, name, attributeName, *references)) return record;
    }
    return evaluate(name, rule, *attribute, references);
  }

 private:
  Dictionary notPresentRecord(const Value& name, const Value* attributeName) const {
    log(kernel_.platform(), "No attribute rule name: %@\n", {name});
    return named(ZRTTavikKernel::checkNotExist(attributes_, attributeName), name);
  }

  static Dictionary missing(const Value* attributeName, const Value& rule, std::string_view source) {
    Dictionary record;
    ZRTTavikKernel::buildResultForGetAttributeError(attributeName, *rule.ifString(), source, record);
    return record;
  }

  // Fills `references`; the record of the first one that is not found, absent when all are.
  std::optional<Dictionary> gatherReferences(const Value& list, const Value& rule, const Value* ruleAttribute,
                                             Dictionary& references) const {
    const Array* elements = list.ifArray();
    if (elements == nullptr) return missing(ruleAttribute, rule, kDevice);
    for (const Value& element : *elements) {
      const Dictionary* reference = element.ifDictionary();
      if (reference == nullptr) return missing(ruleAttribute, rule, kDevice);
      const Value* name = findIfString(*reference, "attribute");
      if (name == nullptr) name = ruleAttribute;
      const Value* source = reference->find("source");
      const Value* value = source == nullptr ? find(&attributes_, name) : findInSource(*source, name);
      if (value == nullptr) return missing(name, rule, source == nullptr ? std::string(kDevice) : description(source));
      references.set(*name->ifString(), *value);
    }
    return std::nullopt;
  }

  const Value* findInSource(const Value& source, const Value* name) const {
    return find(dictionaryOf(find(sources_, &source)), name);
  }

  std::optional<Dictionary> evaluate(const Value& name, const Dictionary& rule, const Value& attribute,
                                     const std::optional<Dictionary>& gathered) {
    const auto expression = rule.findString("predicate");
    const Dictionary* references = gathered ? &*gathered : nullptr;
    const Value* value = rule.find("value");
    if (references != nullptr && value == nullptr && expression && ZRTTavikKernel::useReferenceForValue(*expression)) {
      if (references->empty()) throw std::out_of_range("a rule without \"value\" has no reference to take it from");
      value = &references->begin().value();
      references = nullptr;
    }
    const auto tree = AbstractTreeNode::parsePredicateString(expression, kernel_, error_);
    if (tree == nullptr) return std::nullopt;
    Dictionary record = named(*tree->process(&attribute, value, references), name);
    log(kernel_.platform(), "ruleResult: %@", {record});
    if (rule.contains("hideResult")) record.set("hideResult", "");
    forwardAttributes(record);
    return record;
  }

  void forwardAttributes(const Dictionary& record) const {
    const Dictionary* attributes = record.findDictionary("attributes");
    if (station_ == nullptr || attributes == nullptr) return;
    station_->setOrRemove("OnFail", attributes->find("OnFail"));
    station_->setOrRemove("OnPass", attributes->find("OnPass"));
  }

  const ZRTTavikKernel& kernel_;
  const Dictionary& attributes_;
  const Dictionary* sources_;
  Dictionary* station_;
  std::optional<Error>& error_;
};

}  // namespace

std::optional<Array> ZRTTavikKernel::check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues,
                                           std::optional<Error>& error) const {
  return check(deviceAttributes, rules, sourcesForReferenceValues, nullptr, error);
}

std::optional<Array> ZRTTavikKernel::check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                           std::optional<Error>& error) const {
  Dictionary attributes = deviceAttributes;
  expandSysConfigData(attributes);
  expandBasebandManifestData(attributes);
  if (rules == nullptr) return Array::of(failure("valid local rules", "null local rules", "non-null local rules"));

  std::optional<std::string> invalid;
  const auto validated = platform().validatedPropertyListFromSignedDictionary(*rules, kPublicKeyPath, invalid);
  if (invalid) return Array::of(failure("Valid Product Rules", *invalid, "valid rule lists"));
  const Dictionary* localRules = validated ? validated->ifDictionary() : nullptr;
  if (localRules == nullptr || localRules->empty()) {
    return Array::of(failure("valid local rules", "emtpy local rules", "non-empty local rules"));
  }

  Array records;
  records.append(named(ruleResult(true, formattedValue("%.4f", {TavikKernelVersionNumber}), "current library"),
                       "TavikKernel lib version"));
  records.append(versionRecord("TavikRules version", rules_, "current rules"));
  records.append(versionRecord("device Rules version", *localRules, "current rules"));
  const Value sources(sourcesForReferenceValues == nullptr ? Dictionary() : *sourcesForReferenceValues);
  log(platform(), "sourcesForReferences: %@", {sourcesForReferenceValues == nullptr ? nullptr : &sources});

  error.reset();
  const auto deviceRules = makeDeviceRules(*localRules, attributes, error);
  if (!deviceRules) {
    records.append(
        failure("failed to build device specific rule list", error->localizedDescription(), "valid rule lists"));
    return records;
  }
  if (deviceRules->empty()) {
    records.append(failure("Device Rules", "no rules specified", "valid rule lists"));
    return records;
  }

  records.reserve(records.size() + deviceRules->size());
  RuleRun run(*this, attributes, sourcesForReferenceValues, attributesForSfc, error);
  for (auto rule = deviceRules->begin(); rule != deviceRules->end(); ++rule) {
    auto record = run.record(rule.key(), *rule.value().ifDictionary());
    if (!record) return std::nullopt;
    records.append(*std::move(record));
  }
  log(platform(), "%@",
      {std::string_view("-(NSArray*)check:(NSDictionary*)deviceAttributes rules:(NSDictionary*)sLocalRules "
                        "sourcesForReferenceValues:(NSDictionary*)sources error:(NSError**)e\n")});
  log(platform(), "return value:\n%@", {records});
  return records;
}

}  // namespace tavik
