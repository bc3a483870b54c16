#include "lint/LintReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <unordered_map>

#include "io/Json.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

/// Numbers the values that findings refer to; each value precedes its contents.
class Numbers {
 public:
  explicit Numbers(const std::vector<const Finding*>& findings) {
    for (const Finding* finding : findings) wanted_.emplace(finding->value, std::nullopt);
  }

  /// Numbers the values in `value`; returns how many there are.
  std::size_t count(const Value& value) {
    number(value);
    return count_;
  }
  [[nodiscard]] std::size_t of(const Value* value) const { return *wanted_.at(value); }

 private:
  void number(const Value& value) {
    const auto found = wanted_.find(&value);
    if (found != wanted_.end() && !found->second) found->second = count_;
    ++count_;
    if (const Array* array = value.ifArray()) {
      for (const Value& element : *array) number(element);
    } else if (const Dictionary* dictionary = value.ifDictionary()) {
      for (const auto& item : *dictionary) number(item.value);
    }
  }

  std::unordered_map<const Value*, std::optional<std::size_t>> wanted_;
  std::size_t count_ = 0;
};

/// For a list or dictionary with a key, the key is the best position.
Location locationOf(const Finding& finding, const ValueLocation& location) {
  const bool isContainer = finding.value->ifArray() != nullptr || finding.value->ifDictionary() != nullptr;
  return finding.atKey || isContainer ? location.key.value_or(location.value) : location.value;
}

/// Appends the findings of one document.
void place(const Document& document, const std::vector<const Finding*>& findings, std::vector<PlacedFinding>& all) {
  Numbers numbers(findings);
  const bool isLocated = numbers.count(document.content) == document.locations.size();
  std::vector<std::pair<std::size_t, PlacedFinding>> order;
  for (const Finding* finding : findings) {
    const std::size_t number = numbers.of(finding->value);
    const auto location = isLocated ? std::optional(locationOf(*finding, document.locations[number])) : std::nullopt;
    order.emplace_back(number, PlacedFinding{*finding, location});
  }
  std::ranges::stable_sort(order, {}, [](const auto& placed) {
    const Location location = placed.second.position.value_or(Location{placed.first, 0});
    return std::pair(location.line, location.column);
  });
  for (auto& [number, placed] : order) all.push_back(std::move(placed));
}

std::string placeText(const PlacedFinding& placed) {
  const std::string file = visible(placed.finding.document->file);
  if (!placed.position) return file;
  return fmt::format("{}:{}:{}", file, placed.position->line, placed.position->column);
}

std::string summary(const std::vector<PlacedFinding>& findings, const std::deque<Document>& documents) {
  std::size_t counts[3] = {};
  for (const PlacedFinding& placed : findings) ++counts[static_cast<std::size_t>(placed.finding.check->severity)];
  const auto rules = std::ranges::count(documents, Document::Role::kRules, &Document::role);
  const std::string looked =
      fmt::format("the rule library and {}", counted(static_cast<std::size_t>(rules), "local rules document"));
  if (findings.empty()) return fmt::format("No problems found in {}.\n", looked);
  return fmt::format("{}, {}, {} for information, in {}.\n", counted(counts[0], "error"), counted(counts[1], "warning"),
                     counts[2], looked);
}

}  // namespace

std::vector<PlacedFinding> placed(std::vector<Finding> findings, const std::deque<Document>& documents) {
  std::unordered_map<const Document*, std::vector<const Finding*>> byDocument;
  for (const Finding& finding : findings) byDocument[finding.document].push_back(&finding);
  std::vector<PlacedFinding> all;
  for (const Document& document : documents) {
    if (byDocument.contains(&document)) place(document, byDocument[&document], all);
  }
  return all;
}

std::string lintTable(const std::vector<PlacedFinding>& findings, const std::deque<Document>& documents,
                      const Screen& screen) {
  std::string table;
  for (const PlacedFinding& placed : findings) {
    const Finding& finding = placed.finding;
    const Severity severity = finding.check->severity;
    const Style style = severity == Severity::kError     ? Style::kBad
                        : severity == Severity::kWarning ? Style::kHeading
                                                         : Style::kFaint;
    table +=
        fmt::format("{}  {}  {}\n", styled(nameOf(severity), style, screen), finding.check->name, placeText(placed));
    if (!finding.path.empty()) table += fmt::format("  {}\n", styled(visible(finding.path), Style::kHeading, screen));
    for (const std::string& part : {finding.statement.what, finding.statement.effect, finding.statement.advice}) {
      if (!part.empty()) table += fmt::format("    {}\n", visible(part));
    }
    table += '\n';
  }
  return table + summary(findings, documents);
}

std::string lintJson(const std::vector<PlacedFinding>& findings) {
  Array list;
  list.reserve(findings.size());
  for (const PlacedFinding& placed : findings) {
    const Finding& finding = placed.finding;
    Dictionary entry{{"severity", nameOf(finding.check->severity)},
                     {"document", nameOf(finding.document->role)},
                     {"rule", finding.rule},
                     {"message", finding.message()},
                     {"name", finding.check->name},
                     {"path", finding.path},
                     {"file", finding.document->file}};
    if (placed.position) {
      entry.set("line", integer(placed.position->line));
      entry.set("column", integer(placed.position->column));
    }
    list.append(entry);
  }
  return toJson(Dictionary{{"findings", list}}) + "\n";
}

std::string lintLines(const std::vector<PlacedFinding>& findings) {
  std::string lines;
  for (const PlacedFinding& placed : findings) {
    const Finding& finding = placed.finding;
    const std::string path = placed.position || finding.path.empty() ? "" : visible(finding.path) + ": ";
    lines += fmt::format("{}: {}: {}{} [{}]\n", placeText(placed), levelOf(finding.check->severity), path,
                         visible(finding.message()), finding.check->name);
  }
  return lines;
}

}  // namespace tavik::tool::lint
