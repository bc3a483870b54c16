// All operations of a kernel with rule documents, devices and sources built from the input. Checks with and without
// prepared rules must have the same results, also when repeated. Records must be complete and equal to the results of
// the rules' expressions. Arguments must not change, and only the two kinds of faults may be raised.

#include <tavik/TavikKernel.h>

#include <array>
#include <cstdlib>
#include <iostream>

#include "CheckAgreement.h"
#include "RuleDocumentMaker.h"

namespace {

using namespace tavik;

// Readable and exact text.
std::string textOf(const RuleDocuments& documents) {
  const Array all =
      Array::of(documents.library, documents.rules.value_or(Dictionary()), documents.sources.value_or(Dictionary()));
  std::string text = exact::text(all) + '\n' + description(std::array{Value(all)}.data());
  for (const Dictionary& device : documents.devices) {
    text += exact::text(device) + '\n' + description(std::array{Value(device)}.data());
  }
  return text;
}

class Examination {
 public:
  Examination(const RuleDocuments& documents, std::shared_ptr<RecordingPlatform> platform)
      : documents_(documents),
        platform_(*platform),
        kernel_(ZRTTavikKernel::init(documents.library, std::move(platform), why_)) {}

  void run() {
    if (kernel_ == nullptr) return;
    const auto prepared = kernel_->prepare(rules());
    for (int round = 0; round < 2; ++round) {
      for (const Dictionary& device : documents_.devices) examine(*prepared, device, round == 0);
    }
  }

 private:
  // Prints the documents, which are hard to recognize in the input.
  void require(bool condition, std::string_view what, const std::string& found = "") const {
    if (condition) return;
    std::cerr << what << '\n' << found << '\n' << textOf(documents_) << std::endl;
    std::abort();
  }

  [[nodiscard]] const Dictionary* rules() const { return documents_.rules ? &*documents_.rules : nullptr; }
  [[nodiscard]] const Dictionary* sources() const { return documents_.sources ? &*documents_.sources : nullptr; }

  void examine(const PreparedRules& prepared, const Dictionary& device, bool hasStation) {
    const auto [checked, again] = checkBothWays(*kernel_, prepared, platform_, device, rules(), sources(), hasStation);
    const std::string text = checked.text();
    require(text == again.text(), "the prepared check differs", text + "\n--- prepared\n" + again.text());
    require(checked.records || checked.error || !checked.fault.empty(),
            "the check has neither records, an error nor a fault");
    if (checked.records) examineRecords(*checked.records, text);
    if (hasStation) examineLists(checked, device);
  }

  void examineRecords(const Array& records, const std::string& text) const {
    for (const Value& element : records) {
      const Dictionary* record = element.ifDictionary();
      require(record != nullptr && record->findString("rule"), "a record without its rule", text);
      const Value* result = record->find("result");
      require(result != nullptr && result->ifBoolean(), "a record without its result", text);
      require(record->contains("actual") && record->contains("expected"), "a record that lacks an entry", text);
      const Value* hidden = record->find("hideResult");
      require(hidden == nullptr || hidden->ifString() == "", "another hideResult", text);
    }
  }

  // Lists and check must agree on whether the rules can be assembled; if so, every rule has a record.
  void examineLists(const CheckTrace& checked, const Dictionary& device) {
    if (rules() == nullptr) return;
    using List = std::optional<Dictionary> (ZRTTavikKernel::*)(const Dictionary&, const Dictionary&,
                                                               std::optional<Error>&) const;
    static constexpr List kLists[] = {&ZRTTavikKernel::sfcCheckList, &ZRTTavikKernel::guiCheckList,
                                      &ZRTTavikKernel::simCheckList, &ZRTTavikKernel::getDomainList,
                                      &ZRTTavikKernel::getPollingList};
    std::optional<bool> trusted;
    for (const List list : kLists) {
      std::optional<Error> error;
      const auto entries = (*kernel_.*list)(*rules(), device, error);
      require(entries.has_value() != error.has_value(), "a list and an error, or neither");
      require(trusted.value_or(entries.has_value()) == entries.has_value(), "one list assembles, the other does not");
      trusted = entries.has_value();
    }
    Dictionary attributes = device;
    ZRTTavikKernel::expandSysConfigData(attributes);
    ZRTTavikKernel::expandBasebandManifestData(attributes);
    std::optional<Error> error;
    const auto made = kernel_->makeDeviceRules(*rules(), attributes, error);
    require(made.has_value() != error.has_value(), "rules and an error, or neither");
    if (!made) return;
    const bool ran = checked.records && checked.records->size() > 3 && *trusted;
    if (ran) require(checked.records->size() == 3 + std::max<std::size_t>(made->size(), 1), "a rule without a record");
    std::size_t position = 3;
    for (const auto [name, rule] : *made) {
      const Value* record = ran ? &checked.records->at(position++) : nullptr;
      evaluate(name, *rule.ifDictionary(), attributes, record == nullptr ? nullptr : record->ifDictionary());
    }
  }

  // Evaluates a rule's expression. If the rule has no references, the result must equal the record of the check.
  void evaluate(std::string_view name, const Dictionary& rule, const Dictionary& attributes, const Dictionary* record) {
    const auto attributeName = rule.findString("attribute");
    const Value* attribute = attributeName ? attributes.find(*attributeName) : nullptr;
    if (attribute == nullptr || name.starts_with("No Attribute")) return;
    const auto expression = rule.findString("predicate");
    const Value* value = rule.find("value");
    std::optional<Error> error;
    const auto tree = AbstractTreeNode::parsePredicateString(expression, *kernel_, error);
    require((tree == nullptr) == error.has_value(), "a tree and an error, or neither");
    require(tree != nullptr || record == nullptr || rule.contains("references"), "a record of a malformed expression");
    if (tree == nullptr) return;
    evaluateTree(*tree, expression.value_or(""), attribute, value, &attributes);
    const auto evaluated = evaluateTree(*tree, expression.value_or(""), attribute, value, nullptr);
    if (record == nullptr || rule.contains("references")) return;
    require(evaluated.has_value(), "a record of a rule that raises a fault");
    for (const char* key : {"result", "actual", "expected", "attributes"}) {
      const Value* mine = evaluated->find(key);
      const Value* its = record->find(key);
      require((mine == nullptr) == (its == nullptr) && (mine == nullptr || exact::text(*mine) == exact::text(*its)),
              "a rule by itself gives another record", exact::text(*evaluated) + '\n' + exact::text(*record));
    }
  }

  // Absent for a fault. For a single predicate, the kernel must return the record of the tree, or nothing if the
  // predicate is unknown.
  std::optional<Dictionary> evaluateTree(const AbstractTreeNode& tree, std::string_view expression,
                                         const Value* attribute, const Value* value,
                                         const Dictionary* references) const {
    try {
      const auto performed = kernel_->perform(expression, attribute, references, value);
      Dictionary evaluated = tree.process(attribute, value, references).value();
      require(!performed || exact::text(*performed) == exact::text(evaluated), "a tree differs from its predicate",
              exact::text(evaluated));
      return evaluated;
    } catch (const std::out_of_range&) {
    } catch (const std::invalid_argument&) {
    }
    return std::nullopt;
  }

  const RuleDocuments& documents_;
  RecordingPlatform& platform_;
  Reason why_;
  std::unique_ptr<ZRTTavikKernel> kernel_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const RuleDocuments documents = RuleDocumentMaker(Choices({data, size})).documents();
  const std::string before = textOf(documents);
  Examination(documents, std::make_shared<RecordingPlatform>()).run();
  if (textOf(documents) != before) std::abort();
  return 0;
}
