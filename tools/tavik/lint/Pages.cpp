#include "lint/Pages.h"

#include <fmt/format.h>
#include <tavik/PredicateFacts.h>

#include "lint/Check.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

constexpr std::string_view kOpening = R"(# What `tavik lint` finds

For rule authors: what is wrong in rule documents, before a device shows it. This page is made of what stands beside the
checks in the code: `tavik lint --print findings` prints it.

    tavik lint --unsigned --library library.plist --rules local.plist

reads a rule library and any number of documents of local rules. Each finding says what is wrong, what happens on the line
because of it, and what to do. A rule is looked at as the library has it, and as each local entry makes it: a finding about a
local value names the document, the part number and the region.

- **error**: ends the check, or makes a rule fail or pass whatever the device says.
- **warning**: something is not read, or not as it was meant.
- **information**: worth knowing; nothing need be done.

The command exits with 1 when there is an error, and with 4 when a document is not trusted. `--format gcc` prints a finding a
line as compilers do, for editors and logs; `--format sarif` is for services that show findings beside the code; `--format
json` for programs. Lines and columns are known for unsigned documents in XML or old-style text, for others the path of keys:
`MPNRules.HN10-064.Color.value`.

The examples are JSON: entries of the rule library or of the local rules. Data is spelt `{"$data": "..."}` in Base64.
)";

std::string kindText(const ValueFacts& facts);

std::string kindNames(Kinds kinds) {
  constexpr std::string_view kNames[] = {"string", "number", "boolean", "data", "date", "array", "dictionary"};
  if (kinds == Kinds::any()) return "any kind";
  std::string names;
  for (std::size_t kind = 0; kind < std::size(kNames); ++kind) {
    if (!kinds.contains(static_cast<Kind>(kind))) continue;
    names += fmt::format("{}{}", names.empty() ? "" : " or ", kNames[kind]);
  }
  return names;
}

std::string entryTexts(std::span<const EntryFacts> entries) {
  std::string texts;
  for (const EntryFacts& entry : entries) {
    texts += fmt::format("{}\"{}\" ({})", texts.empty() ? "" : ", ", entry.key, kindNames(entry.value->kinds));
  }
  return texts;
}

/// The text in lines as long as those of the other pages.
std::string wrapped(std::string_view text) {
  constexpr std::size_t kLongest = 120;
  std::string lines;
  while (text.size() > kLongest) {
    const std::size_t blank = text.rfind(' ', kLongest);
    if (blank == std::string_view::npos) break;
    lines += fmt::format("{}\n", text.substr(0, blank));
    text.remove_prefix(blank + 1);
  }
  return lines.append(text);
}

/// What a value is, without its role.
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
  switch (without) {
    case Without::kFails:
      return "fails";
    case Without::kPasses:
      return "**passes**";
    case Without::kComparesWithZero:
      return "compares with 0";
    case Without::kComparesWithFalse:
      return "compares with false";
    case Without::kSame:
      return "the same";
    case Without::kFault:
      break;
  }
  return "a fault";
}

std::string example(std::string_view title, std::string_view code) {
  return code.empty() ? "" : fmt::format("\n{}:\n\n```json\n{}\n```\n", title, code);
}

}  // namespace

std::string findingsPage() {
  std::string page(kOpening);
  page += "\n| finding | severity | what |\n| --- | --- | --- |\n";
  for (const Check* check : allChecks()) {
    page += fmt::format("| [{0}](#{0}) | {1} | {2} |\n", check->name, nameOf(check->severity), check->what);
  }
  for (const Check* check : allChecks()) {
    page += fmt::format("\n## {}\n\n**{}**: {}\n\n{}\n", check->name, nameOf(check->severity), check->what,
                        wrapped(check->why));
    page += example("Before", check->before) + example("After", check->after);
  }
  return page;
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
