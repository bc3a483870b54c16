#include "lsp/Grammar.h"

#include <tavik/PredicateExpression.h>

#include <algorithm>

#include "lint/LocalRules.h"
#include "rules/KindRules.h"

namespace tavik::tool::lsp {
namespace {

using Kind = OutlineNode::Kind;
using enum Role;
using enum NameKind;

constexpr Keyword kComment = {"comment", "A note for people."};
constexpr Keyword kOwner = {"owner", "Who maintains it, for people."};
constexpr Keyword kTicket = {"ticket", "Why it was changed, for people."};
constexpr Keyword kVersionKey[] = {{"version", "The document's version, for results. Change it with every edit."}};
constexpr Keyword kDefinitionKeys[] = {
    {"attribute", "The name of the device attribute that the rule checks."},
    {"predicate", "The test: NAME, NOT NAME, NAME AND NAME or NAME OR NAME."},
    {"value", "The expected value; an entry of the local rules can replace it."},
    {"references", "An array of other attributes that the rule reads, from the device or from a source."},
    {"hideResult", "If present, with any value, the result is hidden from the operator."},
    {"domain", "An entry for the domain list of the station."},
    {"poll", "An entry for the polling list of the station."},
    kComment,
    kOwner,
    kTicket,
};
constexpr Keyword kReferenceKeys[] = {
    {"attribute", "The name of the value; by default, the rule's own attribute."},
    {"source", "Where the value comes from, such as sfc or gui; by default, the device itself."},
    {"description", "A text for check lists: what the station asks for."},
};
constexpr Keyword kLocalKeys[] = {
    kVersionKey[0],
    {"MPNRules", "Part numbers, each with the rules and rule sets of its devices."},
    {"GenericRules", "Rules and rule sets that every device gets."},
    {"RuleSets", "Named groups of rules. Their names end in \"RuleSet\"."},
};
constexpr Keyword kEntryKeys[] = {
    {"value", "The expected value, in place of the one in the rule library."},
    kComment,
    kOwner,
    kTicket,
};
constexpr Keyword kPartNumberKeys[] = {{"RegionRules", "Regions, each with the rules of its devices."}};
constexpr Keyword kCaseFileKeys[] = {
    {"library", "The path of the rule library, relative to this file."},
    {"rules", "The path of the local rules, relative to this file."},
    {"unsigned", "true: the documents are not signed."},
    {"publicKey", "The path of the key file that verifies the documents."},
    {"attributes", "The device of every case: its attributes, or the path of a file with them."},
    {"sources", "The sources of every case: for each, its values, or the path of a file with them."},
    {"cases", "The cases."},
    {"$schema", "The path of rule-tests.schema.json, for editors."},
};
constexpr Keyword kCaseKeys[] = {
    {"name", "What the case is about; unique in the file."},
    {"attributes", "The device of this case: its attributes, or the path of a file with them."},
    {"change", "Attributes that are set or added."},
    {"remove", "Names of attributes that are removed."},
    {"sources", "Sources that replace those of the file."},
    {"expect", "The expected result of the check run."},
};
constexpr Keyword kExpectKeys[] = {
    {"rules", "Rules, each with its expected result."},
    {"others", "The expectation for all other rules: pass, any or none."},
    {"station", "The whole station dictionary after the run."},
    {"error", "The error that ends the run: its code, its description, or both."},
    {"fault", "The fault that ends the run: its kind, its message, or both."},
};
constexpr Keyword kResults[] = {
    {"pass", "The rule passes."}, {"fail", "The rule fails."}, {"absent", "The device does not get the rule."}};
constexpr Keyword kOthers[] = {
    {"pass", "All other rules pass."}, {"any", "No expectation."}, {"none", "There are no other rules."}};

constexpr Pattern kPatterns[] = {
    {.role = kLibrary, .path = {}, .keys = kVersionKey},
    {.role = kLibrary, .path = {"version"}},
    {.role = kLibrary, .path = {"*"}, .key = kRule, .defines = true, .keys = kDefinitionKeys},
    {.role = kLibrary, .path = {"*", "attribute"}, .value = kAttribute},
    {.role = kLibrary, .path = {"*", "predicate"}, .value = kPredicate},
    {.role = kLibrary, .path = {"*", "references", "#"}, .keys = kReferenceKeys},
    {.role = kLibrary, .path = {"*", "references", "#", "attribute"}, .value = kAttribute},
    {.role = kLibrary, .path = {"*", "references", "#", "source"}, .value = kSource},

    {.role = kRules, .path = {}, .keys = kLocalKeys},
    {.role = kRules, .path = {"GenericRules", "*"}, .key = kEntry, .keys = kEntryKeys},
    {.role = kRules, .path = {"MPNRules", "*"}, .keys = kPartNumberKeys},
    {.role = kRules, .path = {"MPNRules", "*", lint::kRegionRules}},
    {.role = kRules, .path = {"MPNRules", "*", "*"}, .key = kEntry, .keys = kEntryKeys},
    {.role = kRules, .path = {"MPNRules", "*", lint::kRegionRules, "*", "*"}, .key = kEntry, .keys = kEntryKeys},
    {.role = kRules, .path = {"RuleSets", "*"}, .key = kRuleSet, .defines = true},
    {.role = kRules, .path = {"RuleSets", "*", "*"}, .key = kRule, .keys = kEntryKeys},

    {.role = kCases, .path = {}, .keys = kCaseFileKeys},
    {.role = kCases, .path = {"attributes", "*"}, .key = kAttribute},
    {.role = kCases, .path = {"sources", "*"}, .key = kSource},
    {.role = kCases, .path = {"cases", "#"}, .keys = kCaseKeys},
    {.role = kCases, .path = {"cases", "#", "attributes", "*"}, .key = kAttribute},
    {.role = kCases, .path = {"cases", "#", "change", "*"}, .key = kAttribute},
    {.role = kCases, .path = {"cases", "#", "remove", "#"}, .value = kAttribute},
    {.role = kCases, .path = {"cases", "#", "sources", "*"}, .key = kSource},
    {.role = kCases, .path = {"cases", "#", "expect"}, .keys = kExpectKeys},
    {.role = kCases, .path = {"cases", "#", "expect", "others"}, .value = kWord, .words = kOthers},
    {.role = kCases, .path = {"cases", "#", "expect", "rules", "*"}, .key = kRule, .value = kWord, .words = kResults},
};

bool matches(const Pattern& pattern, std::span<const std::string> path) {
  if (path.size() < Pattern::kDeepest && !pattern.path[path.size()].empty()) return false;
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (pattern.path[i] != path[i] && (pattern.path[i] != "*" || path[i] == "#")) return false;
  }
  return true;
}

class NameFinder {
 public:
  NameFinder(const Outline& outline, Role role) : outline_(outline), role_(role) {}

  std::vector<Name> find() {
    Path path;
    for (std::size_t number = 0; number < outline_.nodes.size(); ++number) {
      const OutlineNode& node = outline_.nodes[number];
      if (number != 0 && node.depth == 0) break;  // something after the document
      if (node.depth > Pattern::kDeepest) continue;
      path.resize(node.depth);
      if (node.depth != 0) path.back() = node.hasKey ? outline_.textOf(node.key) : "#";
      if (const Pattern* pattern = patternOf(role_, path)) add(*pattern, number);
    }
    return std::move(names_);
  }

 private:
  void add(const Pattern& pattern, std::size_t number) {
    const OutlineNode& node = outline_.nodes[number];
    if (pattern.key && node.hasKey) {
      std::string text = outline_.textOf(node.key);
      const bool isSet = *pattern.key == kRuleSet || (*pattern.key == kEntry && namesSet(text));
      const NameKind kind = isSet ? kRuleSet : *pattern.key == kEntry ? kRule : *pattern.key;
      names_.push_back({kind, std::move(text), node.key, true, pattern.defines, number});
    }
    if (!pattern.value || node.kind != Kind::kString) return;
    if (pattern.value == kPredicate) return addPredicates(number);
    if (pattern.value != kWord)
      names_.push_back({*pattern.value, outline_.textOf(node.value), node.value, false, false, number});
  }

  void addPredicates(std::size_t number) {
    const Token& token = outline_.nodes[number].value;
    const PredicateExpression expression = PredicateExpression::parse(token.content.in(outline_.text));
    for (const std::string_view word : expression.predicates()) {
      const auto begin = static_cast<std::size_t>(word.data() - outline_.text.data());
      const Span span{begin, begin + word.size()};
      names_.push_back({kPredicate, std::string(word), {span, span}, false, false, number});
    }
  }

  const Outline& outline_;
  Role role_;
  std::vector<Name> names_;
};

}  // namespace

const Pattern* patternOf(Role role, std::span<const std::string> path) {
  if (path.size() > Pattern::kDeepest) return nullptr;
  const auto* const found = std::ranges::find_if(
      kPatterns, [&](const Pattern& pattern) { return pattern.role == role && matches(pattern, path); });
  return found == std::end(kPatterns) ? nullptr : found;
}

Path pathOf(const Outline& outline, std::size_t node) {
  Path path;
  for (; outline.nodes[node].depth != 0; node = outline.nodes[node].parent) {
    path.push_back(outline.nodes[node].hasKey ? outline.textOf(outline.nodes[node].key) : "#");
  }
  std::ranges::reverse(path);
  return path;
}

Role roleOf(const Outline& outline) {
  Role role = kUnknown;
  for (const OutlineNode& node : outline.nodes) {
    if (!node.hasKey || node.depth == 0 || node.depth > 2) continue;
    const std::string_view key = node.key.content.in(outline.text);
    if (node.depth == 1 && (key == "MPNRules" || key == "GenericRules" || key == "RuleSets")) return kRules;
    if (node.depth == 1 && key == "cases") return kCases;
    if (node.depth == 2 && (key == "predicate" || key == "attribute")) role = kLibrary;
  }
  return role;
}

std::vector<Name> namesIn(const Outline& outline, Role role) { return NameFinder(outline, role).find(); }

}  // namespace tavik::tool::lsp
