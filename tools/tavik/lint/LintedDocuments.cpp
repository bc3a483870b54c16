#include "lint/LintedDocuments.h"

#include <utility>

#include "lint/Experience.h"
#include "lint/ValuePart.h"

namespace tavik::tool::lint {
namespace {

class Run {
 public:
  Run(const LintedDocuments& documents, Reporter& reporter)
      : documents_(documents), reporter_(reporter), checks_(allChecks()) {}

  void run() {
    for (const Check* check : checks_) {
      reporter_.begin(*check);
      if (check->ofDocuments != nullptr) check->ofDocuments(documents_, reporter_);
    }
    for (const std::string_view name : documents_.ruleNames) checkRule(name, nullptr);
    for (const LocalRules& rules : documents_.localRules) {
      for (const Layer& layer : rules.layers) checkLayer(layer);
    }
    const Experiences experiences(documents_);
    for (const auto& [key, experience] : experiences.all()) checkExperience(experience);
  }

 private:
  void checkLayer(const Layer& layer) {
    for (const Entry& entry : layer.entries) {
      if (!entry.holds || entry.value->ifDictionary() == nullptr) continue;
      const Value* definition = documents_.definition(entry.name);
      if (definition == nullptr) continue;
      // Any other entry leaves the rule as the definition has it, which was already checked.
      const bool differs = entry.expected() != nullptr || !definition->ifDictionary()->contains("value");
      if (differs) checkRule(entry.name, &entry);
    }
  }

  void checkRule(std::string_view name, const Entry* entry) {
    const Rule rule(documents_.placeOf(name), name, entry);
    for (const Check* check : checks_) {
      reporter_.begin(*check, name);
      if (check->ofDefinition != nullptr && entry == nullptr) check->ofDefinition(rule, reporter_);
      if (check->ofRule != nullptr) check->ofRule(rule, reporter_);
      if (check->ofPart != nullptr) walkValues(rule, [&](const ValuePart& part) { check->ofPart(part, reporter_); });
    }
  }

  void checkExperience(const Experience& experience) {
    const Rule rule(documents_.placeOf(experience.name), experience.name, experience.entry);
    for (const Check* check : checks_) {
      reporter_.begin(*check, experience.name);
      if (check->ofExamples != nullptr && !rule.isMalformed()) check->ofExamples(rule, experience, reporter_);
    }
  }

  const LintedDocuments& documents_;
  Reporter& reporter_;
  std::vector<const Check*> checks_;
};

}  // namespace

LintedDocuments::LintedDocuments(const std::deque<Document>& documents, std::vector<ExampleDevice> examples)
    : library(documents.front()), devices(std::move(examples)) {
  for (const auto [name, value] : documents.front().entries()) {
    if (name != "version" && value.ifDictionary() != nullptr) ruleNames.push_back(name);
  }
  for (auto document = documents.begin() + 1; document != documents.end(); ++document)
    localRules.emplace_back(*document, documents.front());
}

const Value* LintedDocuments::definition(std::string_view name) const {
  const Value* value = name == "version" ? nullptr : library.value().ifDictionary()->find(name);
  return value != nullptr && value->ifDictionary() != nullptr ? value : nullptr;
}

void runChecks(const LintedDocuments& documents, Reporter& reporter) { Run(documents, reporter).run(); }

}  // namespace tavik::tool::lint
