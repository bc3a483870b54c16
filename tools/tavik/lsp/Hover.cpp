// Hover: the meaning of a predicate or key, the definition of a rule and the devices that get it, the uses of a name.

#include <fmt/format.h>
#include <tavik/Json.h>
#include <tavik/PredicateFacts.h>

#include <algorithm>
#include <filesystem>

#include "lint/Pages.h"
#include "lsp/Feature.h"
#include "rules/DeviceKinds.h"
#include "rules/KindRules.h"
#include "rules/RuleMeaning.h"
#include "text/Text.h"

namespace tavik::tool::lsp {
namespace {

constexpr std::size_t kMostListed = 20;

std::string listOf(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostListed); ++i) list += "\n- " + codeOf(names[i]);
  if (names.size() > kMostListed) list += fmt::format("\n- and {} more", names.size() - kMostListed);
  return list;
}

/// A value as a block of JSON.
std::string blockOf(const Value& value) {
  constexpr std::size_t kLongest = 2000;
  std::string error;
  std::string json = writeJson(value, error, JsonLayout::kIndented).value_or("");
  std::string block;
  for (std::string_view rest = json; !rest.empty() && block.size() < kLongest;) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    block += shortened(visible(line), 200) + "\n";
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (block.size() >= kLongest && !rest.empty()) block += "...\n";
  }
  std::ranges::replace(block, '`', '\'');
  return "\n\n```json\n" + block + "```";
}

std::string ofPredicate(const PredicateFacts& facts) {
  return fmt::format("**{}**: passes when {}.\n\n{}", facts.word, facts.meaning, lint::predicateText(facts));
}

/// The devices that get a rule or a rule set from the local rules.
std::string devicesWith(const Dictionary& localRules, std::string_view name) {
  const KindRules rules({}, localRules);
  const std::vector<std::size_t> kinds = rules.kindsWith(name);
  return kinds.empty() ? "no device" : DeviceKinds(rules.origins()).text(kinds);
}

std::string devicesIn(const Project& project, std::string_view name) {
  std::string text;
  for (const SourceDocument* rules : project.rules) {
    if (rules->content() == nullptr) continue;
    text += fmt::format("\n\nDevices in {}: {}", codeOf(std::filesystem::path(rules->path()).filename().string()),
                        codeOf(devicesWith(*rules->content()->ifDictionary(), name)));
  }
  return text;
}

std::string ofRule(const Project& project, const std::string& name) {
  std::string text = fmt::format("Rule {}", codeOf(name));
  const Value* const library = project.library == nullptr ? nullptr : project.library->content();
  const Dictionary* const definition = library == nullptr ? nullptr : library->ifDictionary()->findDictionary(name);
  if (definition != nullptr) {
    const auto expression = PredicateExpression::parse(definition->findString("predicate"));
    const std::string meaning = meaningOf(expression);
    if (!meaning.empty()) text += "\n\n" + meaning;
    text += blockOf(*definition);
  } else if (library != nullptr) {
    text += "\n\nThe rule library does not define it.";
  }
  return text + devicesIn(project, name);
}

std::string ofRuleSet(const Project& project, const std::string& name) {
  std::string text = fmt::format("Rule set {}", codeOf(name));
  for (const SourceDocument* rules : project.rules) {
    const Dictionary* const sets =
        rules->content() == nullptr ? nullptr : rules->content()->ifDictionary()->findDictionary("RuleSets");
    const Dictionary* const set = sets == nullptr ? nullptr : sets->findDictionary(name);
    if (set == nullptr) continue;
    std::vector<std::string> names;
    for (const auto [rule, entry] : *set) names.emplace_back(rule);
    text += "\n" + listOf(names);
  }
  return text + devicesIn(project, name);
}

/// The rules of the library that use a name.
std::string ofUses(const Project& project, const Name& name, std::string_view noun) {
  std::vector<std::string> rules;
  if (project.library != nullptr) {
    for (const Name* same : sameNames(*project.library, name)) {
      std::string rule = pathOf(project.library->outline(), same->node).front();
      if (rules.empty() || rules.back() != rule) rules.push_back(std::move(rule));
    }
  }
  return fmt::format("{} {}\n\nUsed by {}:\n{}", noun, codeOf(name.text), counted(rules.size(), "rule"), listOf(rules));
}

std::string textOf(const Project& project, const Name& name) {
  switch (name.kind) {
    case NameKind::kRule:
      return ofRule(project, name.text);
    case NameKind::kRuleSet:
      return ofRuleSet(project, name.text);
    case NameKind::kPredicate: {
      const PredicateFacts* const facts = PredicateFacts::find(name.text);
      return facts == nullptr ? fmt::format("Unknown predicate {}", codeOf(name.text)) : ofPredicate(*facts);
    }
    case NameKind::kAttribute:
      return ofUses(project, name, "Attribute");
    case NameKind::kSource:
      return ofUses(project, name, "Source");
    case NameKind::kEntry:
    case NameKind::kWord:
      break;
  }
  return "";
}

/// The keyword at a place; null if there is none.
const Keyword* keywordIn(std::span<const Keyword> keywords, std::string_view name) {
  const auto found = std::ranges::find(keywords, name, &Keyword::name);
  return found == keywords.end() ? nullptr : &*found;
}

const Keyword* keywordAt(const SourceDocument& document, std::size_t offset, Span& span) {
  const Outline& outline = document.outline();
  for (std::size_t i = 0; i < outline.nodes.size() && outline.nodes[i].begin() <= offset; ++i) {
    const OutlineNode& node = outline.nodes[i];
    const bool isAtKey = node.hasKey && node.key.whole.touches(offset);
    const bool isAtString = node.kind == OutlineNode::Kind::kString && node.value.whole.touches(offset);
    if (!isAtKey && !isAtString) continue;
    Path path = pathOf(outline, i);
    span = isAtKey ? node.key.content : node.value.content;
    if (isAtKey) path.pop_back();
    const Pattern* const pattern = patternOf(document.role(), path);
    if (pattern == nullptr) return nullptr;
    return keywordIn(isAtKey ? pattern->keys : pattern->words, span.in(outline.text));
  }
  return nullptr;
}

Json answer(const SourceDocument& document, Span span, const std::string& markdown) {
  return {{"contents", {{"kind", "markdown"}, {"value", markdown}}}, {"range", rangeOf(document, span)}};
}

}  // namespace

Result hover(const Query& query) {
  const std::size_t offset = query.offset();
  if (query.document.isOpaque()) return Json();
  if (const Name* const name = query.document.nameAt(offset)) {
    return answer(query.document, name->token.content, textOf(query.project, *name));
  }
  Span span;
  const Keyword* const keyword = keywordAt(query.document, offset, span);
  if (keyword == nullptr) return Json();
  return answer(query.document, span, fmt::format("**{}**: {}", keyword->name, keyword->meaning));
}

}  // namespace tavik::tool::lsp
