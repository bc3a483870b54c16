// The checks of the rules that one kind of device gets together: its part number and region are known, and no device
// passes two rules that contradict each other. Rules that several kinds share are compared once.

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "lint/LintedDocuments.h"
#include "lint/RuleForms.h"
#include "lint/ValuePart.h"
#include "rules/DeviceKinds.h"
#include "text/Misspelling.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

constexpr std::string_view kModelNumber = "ModelNumber";
constexpr std::string_view kRegionInfo = "RegionInfo";

/// The kinds of one local rules document, for messages.
class KindTexts {
 public:
  explicit KindTexts(const KindRules& rules) : kinds_(rules.origins()), rules_(rules) {}

  /// "CW110 (EU/3)". `kinds`: positions, ascending.
  [[nodiscard]] std::string of(std::span<const std::size_t> kinds) const {
    return kinds.size() == 1 && !rules_.kinds()[kinds[0]].selectors.partNumber ? "every device" : kinds_.text(kinds);
  }
  /// The kinds of these parts together.
  const std::string& of(const std::vector<const RulePart*>& parts) {
    const auto [place, isNew] = texts_.try_emplace(parts);
    if (!isNew) return place->second;
    std::vector<std::size_t> kinds;
    for (const RulePart* part : parts) std::ranges::copy(part->kinds(), std::back_inserter(kinds));
    std::ranges::sort(kinds);
    kinds.erase(std::unique(kinds.begin(), kinds.end()), kinds.end());
    return place->second = of(kinds);
  }

 private:
  DeviceKinds kinds_;
  const KindRules& rules_;
  std::map<std::vector<const RulePart*>, std::string> texts_;
};

/// A rule of some kinds, and its definition's place.
class RuleOfKinds {
 public:
  RuleOfKinds(const LintedDocuments& documents, const LocalRules& local, const KindRule& rule)
      : documents_(documents), local_(local), rule_(rule) {}

  /// Calls `use` with the rule as checks see it.
  void with(const auto& use) const {
    const Place definition = documents_.library.entry(rule_.name, *documents_.definition(rule_.name));
    use(Rule(definition, rule_.name, local_.entryOf(rule_.entry.content)));
  }

  /// The value's place if the local rules have it, otherwise the definition's.
  void report(Reporter& reporter, const Statement& statement) const {
    with([&](const Rule& rule) {
      if (rule.valueIsLocal()) return reporter.at(*rule.value(), rule.name(), statement);
      reporter.atKey(rule.definition(), rule.name(), statement);
    });
  }

 private:
  const LintedDocuments& documents_;
  const LocalRules& local_;
  const KindRule& rule_;
};

bool forbids(const KindRule& rule) { return rule.name.starts_with("No Attribute"); }

/// A rule that reads an attribute.
struct Reader {
  const KindRule* rule;
  const RuleForm* form;  ///< null for a rule that calls predicates with references, or requires no value
  bool isForbidding;
};

/// The rules of a part by the attributes that they read.
struct Readers {
  std::unordered_map<std::string_view, std::vector<Reader>> byAttribute;   ///< in order
  std::unordered_map<std::string_view, const KindRule*> byReference = {};  ///< the first that reads it as a reference
};

/// Two rules that some kinds get together.
struct Pair {
  const KindRule* first;
  const KindRule* second;
  friend auto operator<=>(const Pair&, const Pair&) = default;
};

/// Compares the rules about each attribute that kinds get together.
class Comparison {
 public:
  explicit Comparison(const KindRules& rules) : rules_(rules) {
    for (const RulePart& part : rules.parts()) {
      if (part.kinds().empty()) continue;
      Readers& own = readers_[&part];
      for (const KindRule& rule : part.rules()) {
        countOf_[rule.name] += part.kinds().size();
        if (rule.definition != nullptr && rule.name != "version") add(rule, own, part);
      }
    }
  }

  struct Redundant {
    const KindRule* rule;
    const KindRule* other;  ///< a rule that implies it
  };

  /// Pairs of which each device of some parts fails at least one.
  [[nodiscard]] const std::map<Pair, std::vector<const RulePart*>>& contradictions() const { return contradictions_; }
  /// Rules that another rule implies for all of their kinds.
  [[nodiscard]] std::vector<Redundant> redundant() const {
    std::vector<Redundant> all;
    for (const RulePart& part : rules_.parts()) {
      for (const KindRule& rule : part.rules()) {
        const auto found = implied_.find(rule.name);
        if (found == implied_.end() || found->second.first.rule != &rule) continue;
        if (found->second.kinds == countOf_.at(rule.name)) all.push_back(found->second.first);
      }
    }
    return all;
  }

 private:
  static constexpr std::size_t kMostPerAttribute = 64;

  struct Implied {
    Redundant first;
    std::size_t kinds = 0;
  };

  void add(const KindRule& rule, Readers& own, const RulePart& part) {
    const auto attribute = rule.definition->findString("attribute");
    if (!attribute) return;
    const bool isForbidding = forbids(rule);
    const auto expression = rule.definition->findString("predicate");
    const bool hasForm = !isForbidding && expression && !rule.definition->contains("references");
    const Reader reader{&rule, hasForm ? &forms_.of(*expression, rule.value()) : nullptr, isForbidding};
    compare(reader, *attribute, part);
    if (own.byAttribute[*attribute].size() < kMostPerAttribute) own.byAttribute[*attribute].push_back(reader);
    if (!isForbidding) addReferences(rule, own, part);
  }

  void addReferences(const KindRule& rule, Readers& own, const RulePart& part) {
    const Array* references = rule.definition->findArray("references");
    if (references == nullptr) return;
    for (const Value& reference : *references) {
      const Dictionary* keys = reference.ifDictionary();
      const auto name = keys == nullptr || keys->contains("source") ? std::nullopt : keys->findString("attribute");
      if (!name || !own.byReference.try_emplace(*name, &rule).second) continue;
      forEachReader(*name, part, [&](const Reader& other) {
        if (other.isForbidding) addContradiction(*other.rule, rule, part);
      });
    }
  }

  /// The rules of the part and its bases that read the attribute, those of bases first.
  void forEachReader(std::string_view attribute, const RulePart& part, const auto& visit) const {
    for (const RulePart* each = &part; each != nullptr; each = each->base()) {
      const auto readers = readers_.find(each);
      if (readers == readers_.end()) continue;
      const auto found = readers->second.byAttribute.find(attribute);
      if (found == readers->second.byAttribute.end()) continue;
      for (const Reader& reader : found->second) visit(reader);
    }
  }

  void compare(const Reader& reader, std::string_view attribute, const RulePart& part) {
    forEachReader(attribute, part, [&](const Reader& other) {
      if (reader.isForbidding != other.isForbidding) {
        addContradiction(*other.rule, *reader.rule, part);
      } else if (reader.form != nullptr && other.form != nullptr) {
        relate(other, reader, part);
      }
    });
    if (!reader.isForbidding) return;
    for (const RulePart* each = &part; each != nullptr; each = each->base()) {
      const auto found = readers_.at(each).byReference.find(attribute);
      if (found != readers_.at(each).byReference.end()) addContradiction(*found->second, *reader.rule, part);
    }
  }

  void relate(const Reader& first, const Reader& second, const RulePart& part) {
    switch (forms_.between(*first.form, *second.form)) {
      case Relation::kContradiction:
        return addContradiction(*first.rule, *second.rule, part);
      case Relation::kSame:
      case Relation::kFirstImpliesOther:
        return addImplied({second.rule, first.rule}, part);
      case Relation::kOtherImpliesFirst:
        return addImplied({first.rule, second.rule}, part);
      case Relation::kNone:
        break;
    }
  }

  /// The second rule is the one to report: the one that forbids the attribute, or the more specific one.
  void addContradiction(const KindRule& first, const KindRule& second, const RulePart& part) {
    const bool swap = forbids(first);
    contradictions_[{swap ? &second : &first, swap ? &first : &second}].push_back(&part);
  }

  void addImplied(Redundant pair, const RulePart& part) {
    for (const RulePart* each = &part; each != nullptr; each = each->base()) {
      if (impliedIn_[pair.rule].contains(each)) return;
    }
    impliedIn_[pair.rule].insert(&part);
    Implied& implied = implied_.try_emplace(pair.rule->name, Implied{pair}).first->second;
    implied.kinds += part.kinds().size();
  }

  const KindRules& rules_;
  RuleForms forms_;
  std::unordered_map<const RulePart*, Readers> readers_;
  std::unordered_map<std::string_view, std::size_t> countOf_;  // rule -> the number of kinds that get it
  std::map<Pair, std::vector<const RulePart*>> contradictions_;
  std::unordered_map<const KindRule*, std::unordered_set<const RulePart*>> impliedIn_;
  std::unordered_map<std::string_view, Implied> implied_;
};

std::string whyContradictory(const Pair& pair) {
  if (forbids(*pair.second)) {
    return fmt::format("{} forbids an attribute that {} needs.", shown(pair.second->name), shown(pair.first->name));
  }
  return fmt::format("{} and {} contradict each other: no value of {} passes both.", shown(pair.second->name),
                     shown(pair.first->name), shown(pair.second->definition->findString("attribute").value_or("")));
}

void contradictingRules(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& local : documents.localRules) {
    KindTexts texts(local.kinds);
    const Comparison comparison(local.kinds);
    for (const auto& [pair, parts] : comparison.contradictions()) {
      RuleOfKinds(documents, local, *pair.second)
          .report(reporter,
                  {whyContradictory(pair), fmt::format("Every device fails one of the two rules: {}.", texts.of(parts)),
                   "Correct one of the rules, or do not give both to the same devices."});
    }
  }
}

void redundantRule(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& local : documents.localRules) {
    for (const auto& [rule, other] : Comparison(local.kinds).redundant()) {
      RuleOfKinds(documents, local, *rule)
          .report(reporter,
                  {fmt::format("Whatever passes {} passes this rule, too.", shown(other->name)),
                   "The rule never decides the result of a device.", "Check both values, or remove the rule."});
    }
  }
}

/// Whether a rule only forwards attributes, and what it forwards.
const Value* forwardedBy(const KindRule& rule) {
  if (rule.definition == nullptr || forbids(rule)) return nullptr;
  const auto expression = PredicateExpression::parse(rule.definition->findString("predicate"));
  if (expression.predicates().size() != 1) return nullptr;
  const PredicateFacts* facts = PredicateFacts::find(expression.predicates()[0]);
  return facts != nullptr && facts->forwards ? rule.value() : nullptr;
}

void twoForwarders(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& local : documents.localRules) {
    KindTexts texts(local.kinds);
    std::unordered_map<const RulePart*, const KindRule*> firstOf;  // with those of its bases
    for (const RulePart& part : local.kinds.parts()) {
      const KindRule* first = part.base() == nullptr ? nullptr : firstOf[part.base()];
      for (const KindRule& rule : part.rules()) {
        const Value* value = forwardedBy(rule);
        if (value == nullptr) continue;
        if (first == nullptr) first = &rule;
        if (first == &rule || part.kinds().empty() || *forwardedBy(*first) == *value) continue;
        RuleOfKinds(documents, local, rule)
            .report(reporter, {fmt::format("{} and {} both forward attributes to the station.", shown(rule.name),
                                           shown(first->name)),
                               fmt::format("Only those of the rule that is evaluated last reach the station: {}.",
                                           texts.of(std::vector{&part})),
                               "Give each device only one such rule."});
      }
      firstOf[&part] = first;
    }
  }
}

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
    const RuleEvaluator evaluator(*silentKernel(), std::move(attributes), {});
    const RuleEvaluation evaluation = evaluator.evaluate({rule.name, {rule.entry}, rule.definition});
    const Dictionary* record = evaluation.record ? evaluation.record->ifDictionary() : nullptr;
    if (record == nullptr) return false;
    if (isRegionTable(about)) return record->findString("expected") == "known region code";
    const Value* result = record->find("result");
    return result != nullptr && result->ifBoolean() == false;
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

/// A text in the value that a name probably stands for.
std::string meantIn(const Value& value, std::string_view name) {
  std::string meant;
  const std::string_view code = name.substr(0, name.find('/'));
  visitTexts(value, [&](std::string_view text) {
    for (const std::string_view each : {name, code}) {
      const bool isSimilar = text != each && (asRead(text) == asRead(each) || looksMisspelled(text, each));
      if (meant.empty() && isSimilar) meant = fmt::format("If {} means {}, correct it.", shown(text), shown(each));
    }
  });
  return meant;
}

class Coverage {
 public:
  Coverage(const LintedDocuments& documents, const LocalRules& local, Reporter& reporter)
      : documents_(documents), local_(local), reporter_(reporter), texts_(local.kinds) {}

  void check() {
    for (const RulePart& part : local_.kinds.parts()) {
      for (const KindRule& rule : part.rules()) {
        if (documents_.definition(rule.name) != nullptr) check(rule, part);
      }
    }
  }

 private:
  void check(const KindRule& rule, const RulePart& part) {
    RuleOfKinds(documents_, local_, rule).with([&](const Rule& about) {
      const Dependence dependence = dependenceOf(about);
      if (dependence.onOthers || !isSound(about)) return;
      std::vector<std::size_t> failing;
      for (const std::size_t kind : part.kinds()) {
        if (known_.fails(local_.kinds.kinds()[kind], rule, about, dependence)) failing.push_back(kind);
      }
      if (!failing.empty()) report(about, failing);
    });
  }

  void report(const Rule& rule, const std::vector<std::size_t>& kinds) {
    const DeviceKind& first = local_.kinds.kinds()[kinds[0]].selectors;
    std::string advice;
    for (const Value* name : {first.region, first.partNumber}) {
      if (advice.empty() && name != nullptr && rule.value()) advice = meantIn(rule.value()->value(), *name->ifString());
    }
    const Statement statement = {fmt::format("The rule does not cover these devices: {}.", texts_.of(kinds)),
                                 "All of them fail it.",
                                 advice.empty() ? "Correct the value, or do not give them the rule." : advice};
    if (rule.value()) return reporter_.at(*rule.value(), rule.name(), statement);
    reporter_.atKey(rule.ownPlace(), rule.name(), statement);
  }

  const LintedDocuments& documents_;
  const LocalRules& local_;
  Reporter& reporter_;
  KindTexts texts_;
  KnownDevices known_;
};

void uncoveredKind(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& local : documents.localRules) Coverage(documents, local, reporter).check();
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
  for (const auto [key, value] : *table) areKeys ? add(Value(key)) : add(value);
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
    return {fmt::format("The local rules have no {}, but {}.", shown(name), shown(meant)), "It never matches a device.",
            "Use the spelling of the local rules."};
  }

  Reporter& reporter_;
  KnownNames partNumbers_;
  KnownNames regions_;
  KnownNames regionCodes_;
};

void misspelledRegion(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& local : documents.localRules) {
    NamesInValues names(local, reporter);
    for (const RulePart& part : local.kinds.parts()) {
      for (const KindRule& rule : part.rules()) {
        if (documents.definition(rule.name) == nullptr) continue;
        RuleOfKinds(documents, local, rule).with([&](const Rule& about) { names.check(about); });
      }
    }
  }
}

constexpr Check kChecks[] = {
    {.name = "contradicting-rules", .severity = Severity::kError, .ofDocuments = contradictingRules},
    {.name = "misspelled-region", .severity = Severity::kWarning, .ofDocuments = misspelledRegion},
    {.name = "redundant-rule", .severity = Severity::kInformation, .ofDocuments = redundantRule},
    {.name = "two-forwarders", .severity = Severity::kWarning, .ofDocuments = twoForwarders},
    {.name = "uncovered-code", .severity = Severity::kError, .ofDocuments = uncoveredCode},
    {.name = "uncovered-kind", .severity = Severity::kError, .ofDocuments = uncoveredKind},
};

}  // namespace

std::span<const Check> kindChecks() { return kChecks; }

}  // namespace tavik::tool::lint
