// The check run: from a device's attributes and the local rules to the list of records.

#include <tavik/PreparedRules.h>
#include <tavik/TavikKernelVersion.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <stdexcept>

#include "kernel/PreparedDocuments.h"
#include "kernel_algorithms/RuleResult.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::FixedArray;
using detail::SlabCutter;
using detail::ValueAccess;

constexpr std::string_view kDevice = "device";
constexpr std::string_view kLibraryVersion = "TavikRules version";
constexpr std::string_view kLocalVersion = "device Rules version";

// A document's "version" as a text, which its record cannot lack.
Value versionText(std::string_view rule, const Dictionary& document) {
  const Value* version = document.find("version");
  if (version == nullptr) throw std::invalid_argument(format("%@: the document has no \"version\"", {rule}));
  return descriptionValue(version);
}

// The list of records under construction, all cut from the same slabs.
class Records {
 public:
  explicit Records(std::size_t ruleCount) : slabs_((ruleCount + kOthers) * kBytesEach), records_(ruleCount + kOthers) {}

  void add(Dictionary&& record) noexcept { records_.add(Value(std::move(record))); }
  void add(const Value& rule, bool result, Value&& actual, Value&& expected) {
    records_.add(checkRecord(rule, result, std::move(actual), std::move(expected), slabs_));
  }

  [[nodiscard]] Value& last() noexcept { return records_.last(); }
  [[nodiscard]] SlabCutter& slabs() noexcept { return slabs_; }
  Array take() && noexcept { return std::move(records_).take(); }

 private:
  static constexpr std::size_t kOthers = 4;  // of three versions, and why there are no rules
  static constexpr std::size_t kBytesEach = 320;

  SlabCutter slabs_;
  FixedArray records_;
};

// The evaluation of one device's rules, in order.
class RuleRun {
 public:
  RuleRun(const PredicateKernel& kernel, const Dictionary& attributes, const Dictionary* sources, Dictionary* station,
          std::optional<Error>& error, Records& records)
      : kernel_(kernel),
        attributes_(attributes),
        sources_(sources),
        station_(station),
        error_(error),
        records_(records),
        logs_(kernel.platform().logs()) {}

  // Adds the rule's record; false with the error set when its expression is malformed.
  bool add(const PreparedRule& rule) {
    if (logs_) log(kernel_.platform(), "processing %@", rule.name);
    if (rule.wantsAbsence) return addNotPresent(rule);
    const Value* attribute = rule.attribute == nullptr ? nullptr
                                                       : ValueAccess::find(attributes_, rule.attributeKey,
                                                                           rule.attributeHash, rule.attributeGuess);
    if (attribute == nullptr) return addMissing(rule.attribute, rule, kDevice);
    if (rule.references == nullptr) return evaluate(rule, *attribute, rule.value, nullptr);
    return evaluateWithReferences(rule, *attribute);
  }

 private:
  bool addNotPresent(const PreparedRule& rule) {
    log(kernel_.platform(), "No attribute rule name: %@\n", rule.name);
    RuleResult result = RuleResult::of(ZRTTavikKernel::checkNotExist(attributes_, rule.attribute));
    records_.add(rule.name, result.result, std::move(result.actual), std::move(result.expected));
    return true;
  }

  bool addMissing(const Value* attributeName, const PreparedRule& rule, std::string_view source) {
    Dictionary record;
    ZRTTavikKernel::buildResultForGetAttributeError(attributeName, *rule.name.ifString(), source, record);
    records_.add(std::move(record));
    return true;
  }

  bool evaluateWithReferences(const PreparedRule& rule, const Value& attribute) {
    const Array* listed = rule.references->ifArray();
    if (listed == nullptr) return addMissing(rule.attribute, rule, kDevice);
    Dictionary references;
    for (const Value& element : *listed) {
      const Dictionary* reference = element.ifDictionary();
      if (reference == nullptr) return addMissing(rule.attribute, rule, kDevice);
      const Value* name = findIfString(*reference, "attribute");
      if (name == nullptr) name = rule.attribute;
      const Value* source = reference->find("source");
      const Value* value = source == nullptr ? find(&attributes_, name) : findInSource(*source, name);
      if (value == nullptr) {
        return addMissing(name, rule, source == nullptr ? std::string(kDevice) : description(source));
      }
      references.set(*name->ifString(), *value);
    }
    if (!rule.takesValueFromReference) return evaluate(rule, attribute, rule.value, &references);
    if (references.empty()) throw std::out_of_range("a rule without \"value\" has no reference to take it from");
    return evaluate(rule, attribute, &references.begin().value(), nullptr);
  }

  const Value* findInSource(const Value& source, const Value* name) const {
    return find(dictionaryOf(find(sources_, &source)), name);
  }

  bool evaluate(const PreparedRule& rule, const Value& attribute, const Value* value, const Dictionary* references) {
    if (rule.errorCode != 0) {
      error_ = kernel_.handleError(rule.errorCode, format("invalid logical operator:%@", {rule.predicate}));
      return false;
    }
    const bool isPlain = rule.combination == Expression::Operator::kNone && rule.call.comparison != nullptr;
    isPlain ? addComparison(rule, attribute, value) : addCombination(rule, attribute, value, references);
    if (logs_) log(kernel_.platform(), "ruleResult: %@", records_.last());
    if (rule.hidesResult) setInLast("hideResult", "");
    return true;
  }

  void addComparison(const PreparedRule& rule, const Value& attribute, const Value* value) {
    auto [result, actual] = rule.call.comparison->judge(&attribute, value);
    records_.add(rule.name, result, std::move(actual), expected(rule.call, value));
  }

  void addCombination(const PreparedRule& rule, const Value& attribute, const Value* value,
                      const Dictionary* references) {
    RuleResult all = combined(rule, attribute, value, references);
    records_.add(rule.name, all.result, std::move(all.actual), std::move(all.expected));
    if (!all.attributes) return;
    setInLast("attributes", *all.attributes);
    forward(*all.attributes);
  }

  void setInLast(std::string_view key, Value value) {
    Dictionary record = *records_.last().ifDictionary();
    record.set(key, std::move(value));
    records_.last() = std::move(record);
  }

  RuleResult combined(const PreparedRule& rule, const Value& attribute, const Value* value,
                      const Dictionary* references) {
    RuleResult left = result(rule, rule.call, 0, attribute, value, references);
    switch (rule.combination) {
      case Expression::Operator::kNot:
        return negated(std::move(left));
      case Expression::Operator::kAnd:
        return both(left, result(rule, *rule.secondCall, 1, attribute, value, references));
      case Expression::Operator::kOr:
        return either(left, result(rule, *rule.secondCall, 1, attribute, value, references));
      default:
        return left;
    }
  }

  RuleResult result(const PreparedRule& rule, const PreparedCall& prepared, std::size_t number, const Value& attribute,
                    const Value* value, const Dictionary* references) {
    if (prepared.comparison != nullptr) {
      auto [result, actual] = prepared.comparison->judge(&attribute, value);
      return {result, std::move(actual), expected(prepared, value)};
    }
    if (prepared.operation != nullptr) {
      const auto record = call(*prepared.operation, kernel_.platform(), &attribute, references, value);
      if (record) return RuleResult::of(*record);
    }
    return unknownPredicate(rule.expression().words[number], references != nullptr);
  }

  // What the record of a comparison says of the expected value.
  Value expected(const PreparedCall& prepared, const Value* value) {
    return prepared.expected ? ValueAccess::copied(*prepared.expected, records_.slabs())
                             : prepared.comparison->expected(value, &records_.slabs());
  }

  void forward(const Value& value) const {
    const Dictionary* attributes = value.ifDictionary();
    if (station_ == nullptr || attributes == nullptr) return;
    station_->reserve(station_->size() + 2);  // so that both are stored or, for want of memory, neither
    station_->setOrRemove("OnFail", attributes->find("OnFail"));
    station_->setOrRemove("OnPass", attributes->find("OnPass"));
  }

  const PredicateKernel& kernel_;
  const Dictionary& attributes_;
  const Dictionary* sources_;
  Dictionary* station_;
  std::optional<Error>& error_;
  Records& records_;
  bool logs_;
};

}  // namespace

std::optional<Array> PreparedDocuments::check(const Dictionary& deviceAttributes, const Dictionary* sources,
                                              Dictionary* station, std::optional<Error>& error) const {
  static const Value kernelVersion = formattedValue("%.4f", {TavikKernelVersionNumber});
  if (refusal_) return Array::of(*refusal_);
  Dictionary attributes = deviceAttributes;
  ZRTTavikKernel::expandSysConfigData(attributes);
  ZRTTavikKernel::expandBasebandManifestData(attributes);

  std::unique_ptr<const DeviceRules> unkept;
  const DeviceRules& rules = rulesFor(attributes, unkept);
  Records records(rules.count());
  records.add("TavikKernel lib version", true, Value(kernelVersion), "current library");
  records.add(kLibraryVersion, true, versionText(kLibraryVersion, library_), "current rules");
  records.add(kLocalVersion, true, versionText(kLocalVersion, localRules_), "current rules");
  const Value logged(sources == nullptr ? Dictionary() : *sources);
  log(kernel_.platform(), "sourcesForReferences: %@", sources == nullptr ? nullptr : &logged);

  error.reset();
  if (auto failed = rules.local.report(kernel_)) {
    error = std::move(failed);
    records.add("failed to build device specific rule list", false, error->localizedDescription(), "valid rule lists");
    return std::move(records).take();
  }
  if (rules.count() == 0) {
    records.add("Device Rules", false, "no rules specified", "valid rule lists");
    return std::move(records).take();
  }

  RuleRun run(kernel_, attributes, sources, station, error, records);
  RuleMaker maker(library_, attributes, forMany_);
  const auto evaluate = [&](const PreparedRule& rule) { return run.add(rule); };
  const auto makeAndEvaluate = [&](const EntryList::Entry& entry) { return run.add(maker.make(entry)); };
  const bool complete = forMany_ ? std::ranges::all_of(rules.prepared, evaluate)
                                 : std::ranges::all_of(rules.local.entries(), makeAndEvaluate);
  if (!complete) return std::nullopt;
  log(kernel_.platform(), "%@",
      std::string_view("-(NSArray*)check:(NSDictionary*)deviceAttributes rules:(NSDictionary*)sLocalRules "
                       "sourcesForReferenceValues:(NSDictionary*)sources error:(NSError**)e\n"));
  Array all = std::move(records).take();
  log(kernel_.platform(), "return value:\n%@", all);
  return all;
}

std::optional<Array> PreparedRules::check(const Dictionary& deviceAttributes,
                                          const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                          std::optional<Error>& error) const {
  return documents_->check(deviceAttributes, sourcesForReferenceValues, attributesForSfc, error);
}

std::optional<Array> ZRTTavikKernel::check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                           std::optional<Error>& error) const {
  return PreparedDocuments(*this, rules_, rules, /*forMany=*/false)
      .check(deviceAttributes, sourcesForReferenceValues, attributesForSfc, error);
}

std::optional<Array> ZRTTavikKernel::check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues,
                                           std::optional<Error>& error) const {
  return check(deviceAttributes, rules, sourcesForReferenceValues, nullptr, error);
}

}  // namespace tavik
