// One line per device, for people: the verdict, the id and what failed; below, the failed rules.

#include <fmt/format.h>

#include "reports/FailureText.h"
#include "reports/Report.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

/// What failed, in a few words.
std::string whyNotPassed(const DeviceResult& result) {
  if (!result.inputError.empty()) return "input: " + visible(result.inputError);
  const CheckOutcome& outcome = result.outcome;
  if (outcome.reason) return (outcome.fault ? "fault: " : "no verdict: ") + visible(outcome.reason->text());
  std::string names;
  for (const Value& record : outcome.ruleRecords()) {
    if (passed(record)) continue;
    names += (names.empty() ? "" : ", ") + lineOf(record.ifDictionary()->find("rule"));
  }
  return names;
}

class TextLines : public ResultWriter {
 public:
  void add(std::string& out, std::size_t line, const DeviceResult& result) override;

 private:
  Screen screen_ = Screen::standardOutput();
};

void TextLines::add(std::string& out, std::size_t /*line*/, const DeviceResult& result) {
  const bool pass = result.passed();
  std::string line = fmt::format("{}  {}", pass ? "pass" : "FAIL", lineOf(&result.id));
  if (!pass) line += "  " + whyNotPassed(result);
  if (screen_.width) line = shortened(line, *screen_.width);
  out += styled(line, pass ? Style::kPlain : Style::kBad, screen_) + "\n";
  for (const std::string& note : result.aboutDevice()) out += fmt::format("      note: {}\n", visible(note));
  const std::span<const Value> records = result.outcome.ruleRecords();
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (passed(records[i])) continue;
    out += fmt::format("      {}\n", lineOf(records[i].ifDictionary()->find("rule")));
    out += failureText(records[i], result.noteOn(i), "        ", screen_);
  }
}

}  // namespace

std::unique_ptr<ResultWriter> makeTextWriter() { return std::make_unique<TextLines>(); }

}  // namespace tavik::tool
