#include "lint/Pages.h"

#include <fmt/format.h>
#include <tavik/PredicateFacts.h>

#include <algorithm>

#include "rules/RuleMeaning.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

std::string kindText(const ValueFacts& facts);

std::string kindNames(Kinds kinds) {
  const auto withoutArticle = [](Kind kind) {
    const std::string_view name = kindName(kind);
    return name.substr(name.rfind(' ') + 1);
  };
  return kinds == Kinds::any() ? "any kind" : textOf(kinds, withoutArticle);
}

std::string entryTexts(std::span<const EntryFacts> entries) {
  std::string texts;
  for (const EntryFacts& entry : entries) {
    texts += fmt::format("{}\"{}\" ({})", texts.empty() ? "" : ", ", entry.key, kindNames(entry.value->kinds));
  }
  return texts;
}

/// The kind of a value, without its role.
std::string plainText(const ValueFacts& facts) {
  using ReadAs = ValueFacts::ReadAs;
  if (facts.readAs == ReadAs::kBoolean) return "boolean, number or string";
  if (facts.readAs != ReadAs::kItself) return "number";
  const std::string kinds = kindNames(facts.kinds);
  if (facts.elements != nullptr) return fmt::format("{} of {}", kinds, kindText(*facts.elements));
  if (facts.tableKeys != nullptr) {
    return fmt::format("{} from {} to {}", kinds, kindText(*facts.tableKeys), kindText(*facts.tableEntries));
  }
  return facts.entries.empty() ? kinds : fmt::format("{} of {}", kinds, entryTexts(facts.entries));
}

std::string kindText(const ValueFacts& facts) {
  const std::string characters = facts.characters == 0 ? "" : fmt::format(" of {} characters", facts.characters);
  return plainText(facts) + (facts.role.empty() ? "" : fmt::format(" ({}{})", facts.role, characters));
}

std::string valueText(const PredicateFacts& facts) {
  const bool isRead = facts.withoutValue != Without::kSame;
  return (isRead ? kindText(facts.value) : "not used") +
         (facts.firstReferenceMayBeValue ? ", or the first reference" : "");
}

std::string referencesText(const PredicateFacts& facts) {
  if (facts.readsTheOnlyReference) return "exactly one, of any name";
  std::string names;
  for (const std::string_view name : facts.references)
    names += fmt::format("{}\"{}\"", names.empty() ? "" : ", ", name);
  return names.empty() ? "none" : names;
}

std::string_view withoutText(Without without) {
  constexpr std::string_view kTexts[] = {"fails",    "**passes**", "compares with 0", "compares with false",
                                         "the same", "a fault"};
  return kTexts[static_cast<std::size_t>(without)];
}

/// The part of `text` between two strings; up to its end if the second one is missing, empty if the first one is.
std::string_view between(std::string_view text, std::string_view begin, std::string_view end) {
  const std::size_t found = text.find(begin);
  if (found == std::string_view::npos) return {};
  const std::string_view rest = text.substr(found + begin.size());
  return rest.substr(0, rest.find(end));
}

}  // namespace

FindingText findingText(std::string_view name) {
  constexpr std::string_view kCodeEnd = "\n```\n";
  const std::string_view section = between(findingsPage(), fmt::format("\n## {}\n\n", name), "\n## ");
  FindingText text = {.what = between(section, "**: ", "\n\n"),
                      .why = std::string(between(section, ".\n\n", "\n\nBefore:")),
                      .before = between(section, "\nBefore:\n\n```json\n", kCodeEnd),
                      .after = between(section, "\nAfter:\n\n```json\n", kCodeEnd)};
  std::ranges::replace(text.why, '\n', ' ');
  return text;
}

std::string predicateText(const PredicateFacts& facts) {
  return fmt::format("- attribute: {}\n- value: {}\n- references: {}\n- without a value: {}",
                     facts.readsAttribute ? kindText(facts.attribute) : "any kind, not used", valueText(facts),
                     referencesText(facts), withoutText(facts.withoutValue));
}

std::string predicateTable() {
  std::string table =
      "| predicate | form | attribute | value | references | without a value |\n| --- | --- | --- | --- | --- | --- "
      "|\n";
  for (const PredicateFacts& facts : PredicateFacts::all()) {
    table += fmt::format("| [{0}](#{1}) | {2} | {3} | {4} | {5} | {6} |\n", facts.word, lowerCase(facts.word),
                         facts.takesReferences ? "attribute, references, value" : "attribute, value",
                         facts.readsAttribute ? kindText(facts.attribute) : "any kind, not used", valueText(facts),
                         referencesText(facts), withoutText(facts.withoutValue));
  }
  return table;
}

}  // namespace tavik::tool::lint
