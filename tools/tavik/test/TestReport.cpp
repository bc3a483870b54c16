#include "test/TestReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "io/Json.h"
#include "reports/JunitSuite.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

std::size_t failures(const TestResults& results) {
  return static_cast<std::size_t>(std::ranges::count(results.cases, false, &CaseResult::passed));
}

/// As a case file spells it.
std::string entriesText(const Dictionary& entries) { return visible(toJson(Value(entries))); }

/// A mismatch as a title with lines of details below.
struct MismatchText {
  explicit MismatchText(const Mismatch& mismatch)
      : title(visible(mismatch.rule ? *mismatch.rule + ": " + mismatch.message : mismatch.message)) {
    add("checks", mismatch.checks);
    if (!mismatch.expected.empty()) add("expected", entriesText(mismatch.expected));
    if (!mismatch.found.empty()) add("found", entriesText(mismatch.found));
    lines.insert(lines.end(), mismatch.notes.begin(), mismatch.notes.end());
  }

  void add(std::string_view label, std::string_view text) {
    if (!text.empty()) lines.push_back(fmt::format("{:<8}  {}", label, text));
  }

  std::string title;
  std::vector<std::string> lines;
};

std::string caseText(const CaseResult& result, const Screen& screen) {
  if (result.passed()) return fmt::format("  pass  {}\n", visible(result.test->name));
  std::string text = styled("  FAIL  " + visible(result.test->name), Style::kBad, screen) + "\n";
  for (const Mismatch& mismatch : result.mismatches) {
    const MismatchText shown(mismatch);
    text += fmt::format("        {}\n", shown.title);
    for (const std::string& line : shown.lines) text += fmt::format("          {}\n", line);
  }
  return text;
}

std::string casesText(const TestResults& results, const Screen& screen) {
  std::string text;
  const CaseFile* file = nullptr;
  for (const CaseResult& result : results.cases) {
    if (result.file != file) text += fmt::format("{}{}\n", text.empty() ? "" : "\n", visible(result.file->name));
    file = result.file;
    text += caseText(result, screen);
  }
  return text;
}

std::string summary(const TestResults& results, const Screen& screen) {
  const std::size_t total = results.cases.size();
  const std::size_t failed = failures(results);
  const std::string verdict =
      styled(failed == 0 ? "PASSED" : "FAILED", failed == 0 ? Style::kGood : Style::kBad, screen);
  return fmt::format("\n{}  {}: {} passed, {} failed\n", verdict, counted(total, "case"), total - failed, failed);
}

struct CoverageSection {
  Coverage::Subject subject;
  std::string_view name;
  std::string_view plural;
  std::string_view jsonName;
  std::string_view keys[2];  ///< of the names in JSON
};

constexpr CoverageSection kCoverageSections[] = {
    {Coverage::Subject::kRule, "rule", "rules", "rules", {"rule"}},
    {Coverage::Subject::kPartNumber, "part number", "part numbers", "part_numbers", {"part_number"}},
    {Coverage::Subject::kRegion, "region", "regions", "regions", {"part_number", "region"}},
    {Coverage::Subject::kOverride, "override", "overrides", "overrides", {"rule", "location"}},
};

void addCounts(Table& table, std::string_view name, const std::vector<Coverage::Item>& items) {
  const auto passed = std::ranges::count_if(items, [](const Coverage::Item& item) { return item.passed != 0; });
  const auto canFail = std::ranges::count(items, true, &Coverage::Item::canFail);
  const auto failed =
      std::ranges::count_if(items, [](const Coverage::Item& item) { return item.canFail && item.failed != 0; });
  table.add(Style::kPlain, {std::string(name), fmt::format("{} of {}", passed, items.size()),
                            fmt::format("{} of {}", failed, canFail)});
}

void addGaps(Table& table, std::string_view name, const std::vector<Coverage::Item>& items) {
  const auto word = [](std::uint64_t count) { return count == 0 ? "never" : "yes"; };
  for (const Coverage::Item& item : items) {
    if (item.covered() == item.possible()) continue;
    table.add(Style::kPlain, {std::string(name), visible(fmt::format("{}", fmt::join(item.names, " "))),
                              word(item.passed), item.canFail ? word(item.failed) : "cannot"});
  }
}

std::string coverageText(const DocumentsCoverage& seen, const Screen& screen) {
  Table counts;
  Table gaps;
  counts.add(Style::kHeading, {"coverage", "pass", "fail"});
  gaps.add(Style::kHeading, {"not covered", "", "pass", "fail"});
  for (const CoverageSection& section : kCoverageSections) {
    const std::vector<Coverage::Item>& items = seen.coverage->items(section.subject);
    if (items.empty()) continue;
    addCounts(counts, section.plural, items);
    addGaps(gaps, section.name, items);
  }
  const std::size_t covered = seen.coverage->covered();
  const std::size_t possible = seen.coverage->possible();
  return fmt::format("\n{} with {}\n{}{}{} of {} results covered\n", visible(seen.rules), visible(seen.library),
                     counts.text(screen), covered == possible ? "" : "\n" + gaps.text(screen), covered, possible);
}

Value mismatchValue(const Mismatch& mismatch) {
  Dictionary entries;
  if (mismatch.rule) entries.set("rule", Value(*mismatch.rule));
  entries.set("message", Value(mismatch.message));
  entries.set("expected", Value(mismatch.expected));
  entries.set("found", Value(mismatch.found));
  return Value(entries);
}

Value caseValue(const CaseResult& result) {
  Array mismatches;
  for (const Mismatch& mismatch : result.mismatches) mismatches.append(mismatchValue(mismatch));
  return Value(Dictionary{{"file", result.file->name},
                          {"name", result.test->name},
                          {"passed", Value(result.passed())},
                          {"mismatches", Value(mismatches)}});
}

Value coverageValue(const DocumentsCoverage& seen) {
  Dictionary entries{{"library", seen.library}, {"local_rules", seen.rules}};
  for (const CoverageSection& section : kCoverageSections) {
    Array items;
    for (const Coverage::Item& item : seen.coverage->items(section.subject)) {
      Dictionary entry;
      for (std::size_t i = 0; i < item.names.size(); ++i) entry.set(section.keys[i], Value(item.names[i]));
      entry.set("passed", Value(static_cast<std::int64_t>(item.passed)));
      entry.set("failed", Value(static_cast<std::int64_t>(item.failed)));
      if (!item.canFail) entry.set("can_fail", Value(false));
      items.append(Value(entry));
    }
    entries.set(section.jsonName, Value(items));
  }
  entries.set("covered", Value(static_cast<std::int64_t>(seen.coverage->covered())));
  entries.set("results", Value(static_cast<std::int64_t>(seen.coverage->possible())));
  return Value(entries);
}

void addCase(JunitSuite& suite, const CaseResult& result) {
  if (result.passed()) return suite.pass(result.test->name);
  std::string details;
  for (const Mismatch& mismatch : result.mismatches) {
    const MismatchText shown(mismatch);
    details += shown.title + "\n";
    for (const std::string& line : shown.lines) details += "  " + line + "\n";
  }
  const std::string_view first = std::string_view(details).substr(0, details.find('\n'));
  suite.fail(result.test->name, "case", first, details);
}

}  // namespace

bool TestResults::passed() const { return failures(*this) == 0; }

std::string testTable(const TestResults& results, const Screen& screen) {
  std::string text = casesText(results, screen);
  for (const DocumentsCoverage& seen : results.coverage) text += coverageText(seen, screen);
  return text + summary(results, screen);
}

std::string testJson(const TestResults& results) {
  Array cases;
  for (const CaseResult& result : results.cases) cases.append(caseValue(result));
  const auto failed = static_cast<std::int64_t>(failures(results));
  Dictionary answer{
      {"cases", Value(cases)}, {"passed", Value(std::ssize(results.cases) - failed)}, {"failed", Value(failed)}};
  Array coverage;
  for (const DocumentsCoverage& seen : results.coverage) coverage.append(coverageValue(seen));
  if (!coverage.empty()) answer.set("coverage", Value(coverage));
  return toJson(Value(answer)) + "\n";
}

std::string testJunit(const TestResults& results) {
  std::string text(kJunitBegin);
  for (auto first = results.cases.begin(); first != results.cases.end();) {
    const CaseFile* const file = first->file;
    JunitSuite suite("rules." + JunitSuite::classNamePart(file->name));
    for (; first != results.cases.end() && first->file == file; ++first) addCase(suite, *first);
    text += suite.text(file->name);
  }
  return text.append(kJunitEnd);
}

}  // namespace tavik::tool
