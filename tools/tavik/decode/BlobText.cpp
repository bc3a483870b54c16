#include "decode/BlobText.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kBytesPerLine = 16;
/// A terminal shows only the beginning of long data.
constexpr std::size_t kMostLinesOnTerminal = 16;

void addData(Table& table, const std::string& name, std::span<const std::uint8_t> bytes, const Screen& screen) {
  std::string firstCell = name;
  for (std::size_t offset = 0; offset < bytes.size(); offset += kBytesPerLine) {
    if (screen.width && offset == kMostLinesOnTerminal * kBytesPerLine) {
      table.add(Style::kFaint, {"", fmt::format("… {} more bytes", bytes.size() - offset)});
      return;
    }
    const std::size_t count = std::min(kBytesPerLine, bytes.size() - offset);
    table.add(Style::kPlain, {firstCell, hexDumpLine(offset, bytes.subspan(offset, count))});
    firstCell.clear();
  }
}

std::string_view stateOf(const Value& record) { return record.ifDictionary()->findString("Test State").value_or(""); }

bool needsAttention(const Value& record) { return stateOf(record) != "Pass" && stateOf(record) != "Untested"; }

std::string markOf(const Value& record, const Screen& screen) {
  const std::string_view state = stateOf(record);
  if (state == "Pass") return "p";
  if (state == "Untested") return styled(".", Style::kFaint, screen);
  return styled(state == "Fail" ? "F" : state == "Incomplete" ? "I" : "?", Style::kBad, screen);
}

std::string grid(const Array& records, const Screen& screen) {
  constexpr std::size_t kColumns = 20;
  std::string text = styled("       0 1 2 3 4 5 6 7 8 9  0 1 2 3 4 5 6 7 8 9", Style::kHeading, screen);
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (i % kColumns == 0) text += fmt::format("\n{:>5} ", i);
    text += (i % 10 == 0 && i % kColumns != 0 ? "  " : " ") + markOf(records.at(i), screen);
  }
  return text + "\n";
}

std::string countsOf(const Array& records) {
  std::string text;
  for (const std::string_view state : {"Pass", "Fail", "Incomplete", "Untested"}) {
    const auto count = std::ranges::count_if(records, [&](const Value& record) { return stateOf(record) == state; });
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, state);
  }
  return fmt::format("{} control bits: {} (p pass, F fail, I incomplete, . untested)\n", records.size(), text);
}

std::string attention(const Array& records, const Screen& screen) {
  constexpr std::string_view kColumns[] = {"Test State",     "Erase Count", "Abs Fail Count",
                                           "Rel Fail Count", "Timestamp",   "Software Version"};
  Table table;
  std::vector<std::string> heading = {"bit"};
  heading.insert(heading.end(), std::begin(kColumns), std::end(kColumns));
  table.add(Style::kHeading, std::move(heading));
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (!needsAttention(records.at(i))) continue;
    std::vector<std::string> cells = {fmt::to_string(i)};
    for (const std::string_view column : kColumns) cells.push_back(lineOf(records.at(i).ifDictionary()->find(column)));
    table.add(Style::kBad, std::move(cells));
  }
  return table.text(screen);
}

}  // namespace

std::string entriesText(const Dictionary& entries, const Screen& screen) {
  if (entries.empty()) return "no entries\n";
  Table table;
  for (const auto [name, value] : entries) {
    const Data* const data = value.ifData();
    if (data != nullptr) {
      addData(table, visible(name), data->bytes(), screen);
    } else {
      table.add(Style::kPlain, {visible(name), "\"" + lineOf(&value) + "\""});
    }
  }
  return table.text(screen);
}

std::string controlBitsText(const Array& records, const Screen& screen) {
  if (records.empty()) return "no control bits\n";
  std::string text = grid(records, screen) + "\n" + countsOf(records);
  if (std::ranges::any_of(records, needsAttention)) text += "\n" + attention(records, screen);
  return text;
}

}  // namespace tavik::tool
