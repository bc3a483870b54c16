#include "lint/Baseline.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <unordered_set>

#include "ExitStatus.h"
#include "io/Json.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

constexpr std::string_view kFindings = "findings";

constexpr Check kChecks[] = {
    {.name = "baseline-without-reason", .severity = Severity::kWarning},
    {.name = "unused-baseline-entry", .severity = Severity::kInformation},
};
constexpr const Check& kWithoutReason = kChecks[0];
constexpr const Check& kUnused = kChecks[1];

std::string keyOf(std::string_view name, std::string_view document, std::string_view path) {
  return fmt::format("{}\n{}\n{}", name, document, path);
}

std::string keyOf(const Finding& finding) {
  return keyOf(finding.check->name, nameOf(finding.document->role), finding.path);
}

std::string_view textIn(const Document& file, std::size_t index, const Dictionary& entry, std::string_view key) {
  const auto text = entry.findString(key);
  if (!text)
    throw Unusable(fmt::format("--baseline {}: findings[{}]: \"{}\" must be a string", visible(file.file), index, key));
  return *text;
}

}  // namespace

std::span<const Check> baselineChecks() { return kChecks; }

Baseline::Baseline(const Document& file) : file_(file) {
  const Array* findings = file.entries().findArray(kFindings);
  if (findings == nullptr) throw Unusable(fmt::format("--baseline {}: has no list \"findings\"", visible(file.file)));
  for (std::size_t i = 0; i < findings->size(); ++i) {
    const Dictionary* entry = findings->at(i).ifDictionary();
    if (entry == nullptr) {
      throw Unusable(fmt::format("--baseline {}: findings[{}]: is not a dictionary", visible(file.file), i));
    }
    const std::string_view name = textIn(file, i, *entry, "name");
    const std::string_view document = textIn(file, i, *entry, "document");
    const std::string_view path = textIn(file, i, *entry, "path");
    known_.push_back({keyOf(name, document, path), std::string(entry->findString("reason").value_or(""))});
  }
}

std::vector<Finding> Baseline::withoutKnown(std::vector<Finding> findings, Reporter& reporter) const {
  std::unordered_set<std::string> keys;
  for (const Known& known : known_) keys.insert(known.key);
  std::unordered_set<std::string> found;
  std::erase_if(findings, [&](const Finding& finding) {
    const std::string key = keyOf(finding);
    if (!keys.contains(key)) return false;
    found.insert(key);
    return true;
  });
  const Place root(file_);
  const Place list = root.entry(kFindings, *file_.entries().find(kFindings));
  for (std::size_t i = 0; i < known_.size(); ++i) {
    const Value& entry = list.value().ifArray()->at(i);
    const std::string name = shown(entry.ifDictionary()->findString("name").value_or(""));
    const std::string path = shown(entry.ifDictionary()->findString("path").value_or(""));
    reporter.begin(kUnused);
    if (!found.contains(known_[i].key)) {
      reporter.at(list.element(i, entry),
                  {fmt::format("The finding {} at {} does not occur.", name, path), "", "Remove the entry."});
      continue;
    }
    reporter.begin(kWithoutReason);
    if (!known_[i].reason.empty()) continue;
    reporter.at(list.element(i, entry),
                {fmt::format("The known finding {} at {} has no reason.", name, path),
                 "It is not reported, and people cannot tell why.", "Write why it is accepted as its \"reason\"."});
  }
  return findings;
}

std::string Baseline::reasonFor(const Finding& finding) const {
  const auto found = std::ranges::find(known_, keyOf(finding), &Known::key);
  return found == known_.end() ? "" : found->reason;
}

std::string baselineOf(const std::vector<Finding>& findings, const Baseline* baseline) {
  Array entries;
  std::unordered_set<std::string> seen;
  for (const Finding& finding : findings) {
    if (!seen.insert(keyOf(finding)).second) continue;
    entries.append(Dictionary{{"name", finding.check->name},
                              {"document", nameOf(finding.document->role)},
                              {"path", finding.path},
                              {"message", finding.message()},
                              {"reason", baseline == nullptr ? "" : baseline->reasonFor(finding)}});
  }
  return toJson(Dictionary{{kFindings, entries}}, JsonLayout::kIndented) + "\n";
}

}  // namespace tavik::tool::lint
