#include "reports/FailureText.h"

#include <fmt/format.h>

#include "text/Text.h"
#include "text/TextDifference.h"

namespace tavik::tool {
namespace {

std::string markedText(std::string_view visibleText, const std::vector<Span>& marks, const Screen& screen) {
  std::string text;
  std::size_t done = 0;
  for (const Span& mark : marks) {
    text += visibleText.substr(done, mark.begin - done);
    text += styled(mark.in(visibleText), Style::kMarked, screen);
    done = mark.end;
  }
  return text.append(visibleText.substr(done));
}

}  // namespace

std::vector<std::string> noteLines(const RuleNote* note, bool pass) {
  std::vector<std::string> lines;
  if (note == nullptr) return lines;
  for (const std::string& remark : note->remarks(pass)) lines.push_back("note      " + visible(remark));
  const std::string_view advice = pass ? "" : note->advice();
  if (!advice.empty()) lines.push_back(fmt::format("to do     {}", advice));
  return lines;
}

std::string failureText(const Value& record, const RuleNote* note, std::string_view indent, const Screen& screen) {
  const std::string actual = lineOf(record.ifDictionary()->find("actual"));
  const std::string expected = lineOf(record.ifDictionary()->find("expected"));
  const Difference difference = differenceOf(actual, expected);
  std::string text =
      fmt::format("{}actual    {}\n{}expected  {}\n", indent, markedText(actual, difference.actual, screen), indent,
                  markedText(expected, difference.expected, screen));
  for (const std::string& line : noteLines(note, false)) text += fmt::format("{}{}\n", indent, line);
  return text;
}

}  // namespace tavik::tool
