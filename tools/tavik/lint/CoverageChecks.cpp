// The checks of what is known about the devices of a kind: their part number and region, and the codes that their
// serial numbers must have.

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "check/Outcome.h"
#include "lint/RuleOfKinds.h"
#include "lint/ValuePart.h"
#include "rules/HostPlatform.h"
#include "text/NearestName.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

constexpr std::string_view kModelNumber = "ModelNumber";
constexpr std::string_view kRegionInfo = "RegionInfo";

// ---- Rules about the part number and the region -------------------------------------------------------------------

/// Which of the two attributes a rule depends on, if it depends on nothing else that is unknown.
struct Dependence {
  bool onModel = false;
  bool onRegion = false;
  bool onOthers = false;

  void add(std::string_view attribute) {
    onModel = onModel || attribute == kModelNumber;
    onRegion = onRegion || attribute == kRegionInfo;
    onOthers = onOthers || (attribute != kModelNumber && attribute != kRegionInfo);
  }
};

bool isRegionTable(const Rule& rule) {
  return rule.operands().size() == 1 && rule.operands()[0].word == "swbhRegionMatch" &&
         rule.combination() == Rule::Operator::kNone;
}

Dependence dependenceOf(const Rule& rule) {
  Dependence dependence;
  const bool readsAttribute = !isRegionTable(rule);
  if (readsAttribute) dependence.add(rule.keys().findString("attribute").value_or(""));
  for (const Rule::Reference& reference : rule.references()) {
    dependence.add(reference.place.value().ifDictionary()->contains("source") ? "" : reference.name);
  }
  return dependence;
}

/// Whether the rule can pass for some devices.
bool isSound(const Rule& rule) {
  const auto isOpen = [&](const Rule::Operand& operand) {
    const auto forecast = operand.facts == nullptr ? Rule::Forecast::kFails : forecastOf(rule, operand);
    return forecast == Rule::Forecast::kOpen || forecast == Rule::Forecast::kPasses;
  };
  return !rule.wantsAbsence() && !rule.isMalformed() && !rule.referencesAreMalformed() &&
         std::ranges::all_of(rule.operands(), isOpen);
}

/// Evaluates rules on what is known about the devices of a kind.
class KnownDevices {
 public:
  /// Whether every device of the kind fails the rule.
  bool fails(const KindRules::Kind& kind, const KindRule& rule, const Rule& about, const Dependence& dependence) {
    constexpr std::size_t kMost = 2'000'000;
    const Value* model = dependence.onModel ? kind.selectors.partNumber : nullptr;
    const Value* region = dependence.onRegion ? kind.selectors.region : nullptr;
    const bool isUnknown = (dependence.onModel && model == nullptr) || (dependence.onRegion && region == nullptr);
    if (isUnknown || ++asked_ > kMost) return false;
    const auto [place, isNew] = results_.try_emplace({&rule, textOf(model), textOf(region)}, false);
    if (isNew) place->second = evaluate(model, region, rule, about);
    return place->second;
  }

 private:
  static std::string_view textOf(const Value* name) { return name == nullptr ? std::string_view() : *name->ifString(); }

  bool evaluate(const Value* model, const Value* region, const KindRule& rule, const Rule& about) {
    Dictionary attributes;
    if (isRegionTable(about)) attributes.set(about.keys().findString("attribute").value_or(""), Value("\x01"));
    if (model != nullptr) attributes.set(kModelNumber, *model);
    if (region != nullptr) attributes.set(kRegionInfo, *region);
    const RuleEvaluator evaluator(silentKernel(), std::move(attributes), {});
    const RuleEvaluation evaluation = evaluator.evaluate({rule.name, {rule.entry}, rule.definition});
    if (!evaluation.record) return false;
    if (!isRegionTable(about)) return !passed(*evaluation.record);
    return evaluation.record->ifDictionary()->findString("expected") == "known region code";
  }

  std::map<std::tuple<const KindRule*, std::string_view, std::string_view>, bool> results_;
  std::size_t asked_ = 0;
};

void visitTexts(const Value& value, const auto& visit) {
  if (const auto text = value.ifString()) visit(*text);
  if (const Array* array = value.ifArray()) {
    for (const Value& element : *array) visitTexts(element, visit);
  } else if (const Dictionary* dictionary = value.ifDictionary()) {
    for (const auto [key, element] : *dictionary) {
      visit(key);
      visitTexts(element, visit);
    }
  }
}

/// What to correct if a text in the value is probably a misspelling of the name; empty if none is.
std::string correctionFor(const Value& value, std::string_view name) {
  std::string advice;
  const std::string_view code = name.substr(0, name.find('/'));
  visitTexts(value, [&](std::string_view text) {
    for (const std::string_view each : {name, code}) {
      const bool isSimilar = text != each && (asRead(text) == asRead(each) || looksMisspelled(text, each));
      if (advice.empty() && isSimilar) advice = fmt::format("If {} means {}, correct it.", shown(text), shown(each));
    }
  });
  return advice;
}

/// Visits the rules of all parts that the library defines: as checks see them, and as their kinds get them.
void forEachRule(const LintedDocuments& documents, const LocalRules& local, const auto& visit) {
  for (const RulePart& part : local.kinds.parts()) {
    for (const KindRule& rule : part.rules()) {
      if (documents.definition(rule.name) == nullptr) continue;
      RuleOfKinds(documents, local, rule).with([&](const Rule& about) { visit(about, rule, part); });
    }
  }
}

class Coverage {
 public:
  Coverage(const LocalRules& local, Reporter& reporter) : local_(local), reporter_(reporter), texts_(local.kinds) {}

  void check(const Rule& about, const KindRule& rule, const RulePart& part) {
    const Dependence dependence = dependenceOf(about);
    if (dependence.onOthers || !isSound(about)) return;
    std::vector<std::size_t> failing;
    for (const std::size_t kind : part.kinds()) {
      if (known_.fails(local_.kinds.kinds()[kind], rule, about, dependence)) failing.push_back(kind);
    }
    if (!failing.empty()) report(about, failing);
  }

 private:
  void report(const Rule& rule, const std::vector<std::size_t>& kinds) {
    const DeviceKind& first = local_.kinds.kinds()[kinds[0]].selectors;
    std::string advice;
    for (const Value* name : {first.region, first.partNumber}) {
      if (advice.empty() && name != nullptr && rule.value())
        advice = correctionFor(rule.value()->value(), *name->ifString());
    }
    reporter_.atValue(
        rule, {fmt::format("The rule does not cover these devices: {}.", texts_.of(kinds)), "All of them fail it.",
               advice.empty() ? "Correct the value, or do not give them the rule." : advice});
  }

  const LocalRules& local_;
  Reporter& reporter_;
  KindTexts texts_;
  KnownDevices known_;
};

void uncoveredKind(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& local : documents.localRules) {
    Coverage coverage(local, reporter);
    forEachRule(documents, local, [&](const auto&... rule) { coverage.check(rule...); });
  }
}

// ---- Codes of serial numbers in tables ----------------------------------------------------------------------------

/// A predicate that requires codes of a serial number, or that looks a code up in its value.
struct CodeUse {
  std::string_view predicate;
  std::string_view serialNumber;  ///< the attribute or reference
  bool isTable;
};
constexpr CodeUse kCodeUses[] = {
    {"MPN4CCheck", "SerialNumber", false},
    {"MPN4CListCheck", "SerialNumber", false},
    {"MPN4ECheck", "MLBSerialNumber", false},
    {"MPN4EListCheck", "MLBSerialNumber", false},
    {"MPNCCCCheck", "SerialNumber", false},
    {"cccNandSizeCheck", "SerialNumber", true},
    {"checkWifiVendorAgainst4E", "MLBSerialNumber", true},
};

/// How a rule uses codes; null if it does not.
const CodeUse* codeUseOf(const KindRule& rule) {
  if (rule.definition == nullptr || forbids(rule) || rule.value() == nullptr) return nullptr;
  const auto use =
      std::ranges::find(kCodeUses, rule.definition->findString("predicate").value_or(""), &CodeUse::predicate);
  if (use == std::end(kCodeUses)) return nullptr;
  const bool readsSerialNumber = use->isTable || rule.definition->findString("attribute") == use->serialNumber;
  return readsSerialNumber ? use : nullptr;
}

/// The codes in the value, in lowercase: those that a rule accepts, or those of a table.
std::unordered_set<std::string> codesIn(const KindRule& rule, const CodeUse& use) {
  const bool areKeys = use.predicate == "cccNandSizeCheck";
  const Dictionary* table = rule.value()->ifDictionary();
  std::unordered_set<std::string> codes;
  const auto add = [&](const Value& value) {
    if (const auto code = value.ifString()) codes.insert(lowerCase(*code));
    if (const Array* list = value.ifArray()) {
      for (const Value& code : *list) codes.insert(lowerCase(code.ifString().value_or("")));
    }
  };
  if (table == nullptr) add(*rule.value());
  if (table == nullptr) return codes;
  for (const auto [key, value] : *table) {
    if (areKeys) codes.insert(lowerCase(key));
    if (!areKeys) add(value);
  }
  return codes;
}

/// Whether the table has none of the codes that the rule accepts. A shorter code of a table is the end of the rule's.
bool lacksCodes(const std::unordered_set<std::string>& table, const std::unordered_set<std::string>& accepted) {
  constexpr std::size_t kCapacityCode = 3;
  if (table.empty() || accepted.empty()) return false;
  const bool isShort = table.begin()->size() == kCapacityCode;
  return std::ranges::none_of(accepted, [&](const std::string& code) {
    return table.contains(isShort && code.size() > kCapacityCode ? code.substr(code.size() - kCapacityCode) : code);
  });
}

class TableCoverage {
 public:
  TableCoverage(const LintedDocuments& documents, const LocalRules& local, Reporter& reporter)
      : documents_(documents), local_(local), reporter_(reporter), texts_(local.kinds) {}

  void check() {
    for (const RulePart& part : local_.kinds.parts()) {
      if (part.kinds().empty()) continue;
      for (const KindRule& rule : part.rules()) {
        const CodeUse* use = codeUseOf(rule);
        if (use == nullptr || uses_[&part].size() >= kMostPerPart) continue;
        compare({&rule, use, codesIn(rule, *use)}, part);
      }
    }
  }

 private:
  static constexpr std::size_t kMostPerPart = 64;

  struct Use {
    const KindRule* rule;
    const CodeUse* use;
    std::unordered_set<std::string> codes;
  };

  void compare(Use own, const RulePart& part) {
    for (const RulePart* each = &part; each != nullptr; each = each->base()) {
      for (const Use& other : uses_[each]) {
        if (own.use->serialNumber != other.use->serialNumber || own.use->isTable == other.use->isTable) continue;
        const Use& table = own.use->isTable ? own : other;
        const Use& accepting = own.use->isTable ? other : own;
        if (lacksCodes(table.codes, accepting.codes)) report(*table.rule, *accepting.rule, part);
      }
    }
    uses_[&part].push_back(std::move(own));
  }

  void report(const KindRule& table, const KindRule& accepting, const RulePart& part) {
    RuleOfKinds(documents_, local_, table)
        .report(reporter_, {fmt::format("The table has none of the codes that {} accepts.", shown(accepting.name)),
                            fmt::format("Every device fails one of the two rules: {}.", texts_.of(std::vector{&part})),
                            "Add the code to the table, or correct it."});
  }

  const LintedDocuments& documents_;
  const LocalRules& local_;
  Reporter& reporter_;
  KindTexts texts_;
  std::unordered_map<const RulePart*, std::vector<Use>> uses_;
};

void uncoveredCode(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& local : documents.localRules) TableCoverage(documents, local, reporter).check();
}

// ---- Part numbers and regions in values ---------------------------------------------------------------------------

/// The part numbers or regions of local rules, as they are and as people read them.
class KnownNames {
 public:
  void add(std::string_view name) {
    names_.insert(name);
    byReading_.try_emplace(asRead(name), name);
  }
  /// Another name that reads the same; absent if the name is known, or does not resemble any.
  [[nodiscard]] std::optional<std::string_view> meantBy(std::string_view name) const {
    if (names_.contains(name)) return std::nullopt;
    const auto found = byReading_.find(asRead(name));
    return found == byReading_.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  std::unordered_set<std::string_view> names_;
  std::unordered_map<std::string, std::string_view> byReading_;
};

class NamesInValues {
 public:
  NamesInValues(const LocalRules& local, Reporter& reporter) : reporter_(reporter) {
    for (const KindRules::Kind& kind : local.kinds.kinds()) {
      if (kind.selectors.partNumber != nullptr) partNumbers_.add(*kind.selectors.partNumber->ifString());
      if (kind.selectors.region == nullptr) continue;
      const std::string_view region = *kind.selectors.region->ifString();
      regions_.add(region);
      regionCodes_.add(region.substr(0, region.find('/')));
    }
  }

  void check(const Rule& rule) {
    const std::string_view attribute = rule.keys().findString("attribute").value_or("");
    if (rule.operands().size() != 1 || !rule.value()) return;
    const std::string_view word = rule.operands()[0].word;
    if (word == "swbhRegionMatch") return checkTable(rule, *rule.value());
    if (attribute != kRegionInfo && attribute != kModelNumber) return;
    const KnownNames& names = attribute == kRegionInfo ? regions_ : partNumbers_;
    if (word == "valueInList") checkElements(rule, *rule.value(), names);
    if (word == "sendConditionalAttribute")
      withEntry(*rule.value(), "list", [&](const Place& list) { checkElements(rule, list, names); });
  }

 private:
  static void withEntry(const Place& parent, std::string_view key, const auto& use) {
    const Dictionary* entries = parent.value().ifDictionary();
    const Value* value = entries == nullptr ? nullptr : entries->find(key);
    if (value != nullptr) use(parent.entry(key, *value));
  }

  void checkTable(const Rule& rule, const Place& table) {
    withEntry(table, "nospecial", [&](const Place& common) {
      withEntry(common, "countryList", [&](const Place& list) { checkElements(rule, list, regionCodes_); });
    });
    withEntry(table, "special", [&](const Place& special) {
      if (special.value().ifDictionary() == nullptr) return;
      for (const auto [key, value] : *special.value().ifDictionary()) {
        const auto meant = regionCodes_.meantBy(key);
        if (meant) reporter_.atKey(special.entry(key, value), rule.name(), statement(key, *meant));
      }
    });
  }

  void checkElements(const Rule& rule, const Place& list, const KnownNames& names) {
    const Array* elements = list.value().ifArray();
    if (elements == nullptr) return;
    for (std::size_t i = 0; i < elements->size(); ++i) {
      const auto name = elements->at(i).ifString();
      const auto meant = name ? names.meantBy(*name) : std::nullopt;
      if (meant) reporter_.at(list.element(i, elements->at(i)), rule.name(), statement(*name, *meant));
    }
  }

  static Statement statement(std::string_view name, std::string_view meant) {
    return {fmt::format("The local rules have no {}; did you mean {}?", shown(name), shown(meant)),
            "It never matches a device.", "Use the spelling of the local rules."};
  }

  Reporter& reporter_;
  KnownNames partNumbers_;
  KnownNames regions_;
  KnownNames regionCodes_;
};

void misspelledRegion(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& local : documents.localRules) {
    NamesInValues names(local, reporter);
    forEachRule(documents, local, [&](const Rule& rule, const auto&...) { names.check(rule); });
  }
}

constexpr Check kChecks[] = {
    {.name = "misspelled-region", .severity = Severity::kWarning, .ofDocuments = misspelledRegion},
    {.name = "uncovered-code", .severity = Severity::kError, .ofDocuments = uncoveredCode},
    {.name = "uncovered-kind", .severity = Severity::kError, .ofDocuments = uncoveredKind},
};

}  // namespace

std::span<const Check> coverageChecks() { return kChecks; }

}  // namespace tavik::tool::lint
