#include "reports/CheckTable.h"

#include <fmt/format.h>

#include <algorithm>

#include "reports/FailureText.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

/// A record as it is shown.
struct Line {
  explicit Line(const Value& record)
      : pass(passed(record)),
        hidden(record.ifDictionary()->contains("hideResult")),
        rule(lineOf(record.ifDictionary()->find("rule")) + (hidden ? " (hidden)" : "")),
        actual(lineOf(record.ifDictionary()->find("actual"))),
        expected(lineOf(record.ifDictionary()->find("expected"))) {}

  [[nodiscard]] std::string_view mark() const { return pass ? "pass" : "FAIL"; }

  bool pass;
  bool hidden;
  std::string rule;
  std::string actual;
  std::string expected;
};

std::vector<Line> linesOf(const Array& records) {
  std::vector<Line> lines;
  for (const Value& record : records) lines.emplace_back(record);
  return lines;
}

std::string overview(const std::vector<Line>& lines, const Screen& screen) {
  Table table;
  table.add(Style::kHeading, {"", "rule", "actual", "expected"});
  for (const Line& line : lines) {
    if (line.hidden && line.pass) continue;
    table.add(line.pass ? Style::kPlain : Style::kBad,
              {std::string(line.mark()), line.rule, line.actual, line.expected});
  }
  return table.text(screen);
}

/// Repeats the failures in full at the end, where a reader of a long table looks, with notes.
std::string failures(const DeviceResult& result, const Screen& screen) {
  constexpr std::string_view kIndent = "      ";
  std::string text;
  const std::span<const Value> records = result.outcome.ruleRecords();
  for (std::size_t i = 0; i < records.size(); ++i) {
    const Line line(records[i]);
    if (!line.pass) {
      text += "\n" + styled(fmt::format("FAIL  {}", line.rule), Style::kBad, screen) + "\n";
      text += failureText(records[i], result.noteOn(i), kIndent, screen);
      continue;
    }
    const std::vector<std::string> notes = noteLines(result.noteOn(i), true);
    if (!notes.empty()) text += fmt::format("\npass  {}\n{}{}\n", line.rule, kIndent, fmt::join(notes, "\n      "));
  }
  for (const std::string& note : result.aboutDevice()) text += fmt::format("\nnote: {}\n", visible(note));
  return text;
}

std::string counts(std::span<const Line> rules) {
  const auto failed = std::ranges::count(rules, false, &Line::pass);
  const auto hidden = std::ranges::count(rules, true, &Line::hidden);
  const auto total = std::ssize(rules);
  std::string text = fmt::format("{}: {} passed, {} failed", counted(rules.size(), "rule"), total - failed, failed);
  if (hidden != 0) text += fmt::format(", {} hidden", hidden);
  return text;
}

}  // namespace

std::string checkTable(const DeviceResult& result, const Screen& screen) {
  const CheckOutcome& outcome = result.outcome;
  if (!outcome.records) return "";
  const std::vector<Line> lines = linesOf(*outcome.records);
  if (outcome.verdict == Verdict::kNone) {
    return overview(lines, screen) + "\n" + styled("NO VERDICT", Style::kBad, screen) + ": no rule was checked\n";
  }
  const bool pass = outcome.verdict == Verdict::kPassed;
  return fmt::format("{}{}\n{}  {}\n", overview(lines, screen), failures(result, screen),
                     styled(pass ? "PASSED" : "FAILED", pass ? Style::kGood : Style::kBad, screen),
                     counts(std::span(lines).last(outcome.ruleRecords().size())));
}

}  // namespace tavik::tool
