#include "explain/Evaluation.h"

#include <fmt/format.h>
#include <tavik/AbstractTree.h>
#include <tavik/PredicateFacts.h>
#include <tavik/ZRTTavikKernel.h>

#include <memory>
#include <utility>

#include "text/NearestName.h"

namespace tavik::tool {
namespace {

std::optional<Value> copyOf(const Value* value) { return value == nullptr ? std::nullopt : std::optional(*value); }

std::optional<std::string> textAt(const Dictionary& entries, std::string_view key) {
  const auto text = entries.findString(key);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

class Evaluator {
 public:
  Evaluator(const RuleOrigin& rule, const Findings& findings, const PredicateKernel& kernel)
      : name_(rule.name), rule_(rule.rule()), findings_(findings), kernel_(kernel) {}

  Evaluation evaluate() {
    read();
    if (all_.wantsAbsence) {
      const std::optional<Value> name = valueOf(all_.attributeName);
      finish(ZRTTavikKernel::checkNotExist(findings_.attributes(), name ? &*name : nullptr));
    } else if (const auto missing = firstMissing()) {
      miss(missing->name, missing->source.value_or("device"));
    } else {
      call();
    }
    return std::move(all_);
  }

 private:
  /// What the rule says, and what there is of it.
  void read() {
    all_.wantsAbsence = name_.starts_with("No Attribute");
    all_.attributeName = textAt(rule_, "attribute");
    all_.attribute = onDevice(all_.attributeName);
    if (all_.wantsAbsence) return;
    predicate_ = textAt(rule_, "predicate");
    if (const Value* references = rule_.find("references")) readReferences(*references);
    all_.value = copyOf(rule_.find("value"));
    all_.referenceIsValue =
        references_ && !all_.value && predicate_ && ZRTTavikKernel::useReferenceForValue(*predicate_);
    tree_ = AbstractTreeNode::parsePredicateString(predicate_, kernel_, all_.malformed);
    if (tree_ == nullptr) return;
    all_.combination = combinationOf(*tree_);
    for (const Value& word : tree_->children()) addCall(std::string(*word.ifString()));
  }

  void readReferences(const Value& listed) {
    references_.emplace();
    const Array* const elements = listed.ifArray();
    brokenReferences_ = elements == nullptr;
    if (elements == nullptr) return;
    for (const Value& element : *elements) {
      brokenReferences_ = element.ifDictionary() == nullptr;
      if (brokenReferences_) return;
      readReference(*element.ifDictionary());
      if (!all_.references.back().value) continue;
      references_->set(*all_.references.back().name, *all_.references.back().value);
    }
  }

  void readReference(const Dictionary& reference) {
    ReferenceFound found{.name = textAt(reference, "attribute"), .source = {}, .value = {}};
    if (!found.name) found.name = all_.attributeName;
    if (const Value* source = reference.find("source")) {
      found.source = description(source);
      if (found.name) found.value = copyOf(findings_.inSource(*source, *found.name));
    } else {
      found.value = onDevice(found.name);
    }
    all_.references.push_back(std::move(found));
  }

  [[nodiscard]] std::optional<Value> onDevice(const std::optional<std::string>& name) const {
    return name ? copyOf(findings_.attributes().find(*name)) : std::nullopt;
  }

  static std::optional<Value> valueOf(const std::optional<std::string>& text) {
    return text ? std::optional<Value>(*text) : std::nullopt;
  }

  static Evaluation::Combination combinationOf(const AbstractTreeNode& tree) {
    if (dynamic_cast<const NotTreeNode*>(&tree) != nullptr) return Evaluation::Combination::kNot;
    if (dynamic_cast<const AndTreeNode*>(&tree) != nullptr) return Evaluation::Combination::kAnd;
    if (dynamic_cast<const OrTreeNode*>(&tree) != nullptr) return Evaluation::Combination::kOr;
    return Evaluation::Combination::kNone;
  }

  void addCall(std::string word) {
    const bool withReferences = references_ && !all_.referenceIsValue;
    const PredicateFacts* const facts = PredicateFacts::find(word);
    const bool known = facts != nullptr && facts->takesReferences == withReferences;
    all_.calls.push_back({.word = std::move(word), .withReferences = withReferences, .known = known, .step = {}});
  }

  /// What a check misses first; references that are malformed count as the attribute.
  [[nodiscard]] std::optional<ReferenceFound> firstMissing() const {
    const ReferenceFound attribute{.name = all_.attributeName, .source = {}, .value = {}};
    if (!all_.attribute) return attribute;
    for (const ReferenceFound& reference : all_.references) {
      if (!reference.value) return reference;
    }
    return brokenReferences_ ? std::optional(attribute) : std::nullopt;
  }

  void miss(const std::optional<std::string>& attribute, std::string_view source) {
    const std::optional<Value> name = valueOf(attribute);
    Dictionary record;
    ZRTTavikKernel::buildResultForGetAttributeError(name ? &*name : nullptr, name_, source, record);
    all_.record = std::move(record);
  }

  void call() {
    if (all_.referenceIsValue) {
      if (references_->empty()) {
        all_.fault = Fault{"range", "a rule without \"value\" has no reference to take it from"};
        return;
      }
      all_.value = (*references_->begin()).value;
      references_.reset();
    }
    if (tree_ == nullptr) return;
    for (PredicateCall& step : all_.calls) {
      all_.fault = faultOf([&] { step.step = process(SelectorTreeNode(kernel_, step.word)); });
      if (all_.fault) return;
    }
    finish(*process(*tree_));
    if (rule_.contains("hideResult")) all_.record->set("hideResult", "");
  }

  [[nodiscard]] std::optional<Dictionary> process(const AbstractTreeNode& tree) const {
    return tree.process(&*all_.attribute, all_.value ? &*all_.value : nullptr, references_ ? &*references_ : nullptr);
  }

  void finish(Dictionary record) {
    record.setFirst("rule", name_);
    all_.record = std::move(record);
  }

  std::string_view name_;
  Dictionary rule_;
  const Findings& findings_;
  const PredicateKernel& kernel_;
  std::optional<std::string> predicate_;
  std::optional<Dictionary> references_;  // those found, by name; absent for a rule without
  bool brokenReferences_ = false;
  std::unique_ptr<AbstractTreeNode> tree_;
  Evaluation all_;
};

}  // namespace

Findings::Findings(Dictionary attributes, Dictionary sources)
    : attributes_(std::move(attributes)), sources_(std::move(sources)) {
  ZRTTavikKernel::expandSysConfigData(attributes_);
  ZRTTavikKernel::expandBasebandManifestData(attributes_);
}

const Value* Findings::inSource(const Value& source, std::string_view name) const noexcept {
  const auto sourceName = source.ifString();
  const Dictionary* const contents = sourceName ? sources_.findDictionary(*sourceName) : nullptr;
  return contents == nullptr ? nullptr : contents->find(name);
}

std::string PredicateCall::operation() const { return word + (withReferences ? ":references:value:" : ":value:"); }

std::string PredicateCall::trouble() const {
  if (known) return "";
  if (PredicateFacts::find(word) != nullptr) {
    return withReferences ? "it takes no references" : "it asks for references, and the rule has none to give it";
  }
  std::vector<std::string_view> words;
  for (const PredicateFacts& facts : PredicateFacts::all()) words.push_back(facts.word);
  return "there is no such predicate" + didYouMean(word, words);
}

Evaluation evaluate(const RuleOrigin& rule, const Findings& findings, const PredicateKernel& kernel) {
  return Evaluator(rule, findings, kernel).evaluate();
}

std::string_view wordFor(Evaluation::Combination combination) {
  switch (combination) {
    case Evaluation::Combination::kNot:
      return "NOT";
    case Evaluation::Combination::kAnd:
      return "AND";
    case Evaluation::Combination::kOr:
      return "OR";
    case Evaluation::Combination::kNone:
      break;
  }
  return "";
}

}  // namespace tavik::tool
