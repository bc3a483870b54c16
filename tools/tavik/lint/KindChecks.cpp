// The checks of the rules that one kind of device gets together: no device passes two rules that contradict each other.
// Rules that several kinds share are compared once.

#include <fmt/format.h>

#include <compare>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "lint/RuleForms.h"
#include "lint/RuleOfKinds.h"
#include "rules/RuleFacts.h"

namespace tavik::tool::lint {
namespace {

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

}  // namespace

/// Compares the rules about each attribute that kinds get together.
class RuleComparison {
 public:
  explicit RuleComparison(const KindRules& rules) : rules_(rules) {
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

namespace {

const RuleComparison& comparisonOf(const LocalRules& local) {
  if (!local.comparison) local.comparison = std::make_shared<const RuleComparison>(local.kinds);
  return *local.comparison;
}

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
    for (const auto& [pair, parts] : comparisonOf(local).contradictions()) {
      RuleOfKinds(documents, local, *pair.second)
          .report(reporter,
                  {whyContradictory(pair), fmt::format("Every device fails one of the two rules: {}.", texts.of(parts)),
                   "Correct one of the rules, or do not give both to the same devices."});
    }
  }
}

void redundantRule(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& local : documents.localRules) {
    for (const auto& [rule, other] : comparisonOf(local).redundant()) {
      RuleOfKinds(documents, local, *rule)
          .report(reporter,
                  {fmt::format("Every device that passes {} also passes this rule.", shown(other->name)),
                   "The rule never decides the result of a device.", "Check both values, or remove the rule."});
    }
  }
}

/// What a rule forwards to the station; null if it does not forward attributes.
const Value* forwardedBy(const KindRule& rule) {
  return RuleFacts(rule.name, rule.definition, rule.value()).forwards() ? rule.value() : nullptr;
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
                               fmt::format("Only the attributes of the rule evaluated last reach the station: {}.",
                                           texts.of(std::vector{&part})),
                               "Give each device only one such rule."});
      }
      firstOf[&part] = first;
    }
  }
}

constexpr Check kChecks[] = {
    {.name = "contradicting-rules", .severity = Severity::kError, .ofDocuments = contradictingRules},
    {.name = "redundant-rule", .severity = Severity::kInformation, .ofDocuments = redundantRule},
    {.name = "two-forwarders", .severity = Severity::kWarning, .ofDocuments = twoForwarders},
};

}  // namespace

std::span<const Check> kindChecks() { return kChecks; }

}  // namespace tavik::tool::lint
