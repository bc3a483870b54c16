#include "text/Terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <numeric>
#include <utility>

#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 40;
/// If nothing is cut off, one long cell must not widen the column of all others.
constexpr std::size_t kWidestPadding = 48;

std::string_view environment(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? std::string_view() : text;
}

std::size_t terminalWidth(int stream) {
  const std::string_view columns = environment("COLUMNS");
  std::size_t width = 0;
  std::from_chars(columns.data(), columns.data() + columns.size(), width);
  winsize size{};
  if (width == 0 && ioctl(stream, TIOCGWINSZ, &size) == 0) width = size.ws_col;
  return width == 0 ? 80 : std::clamp<std::size_t>(width, kNarrowest, 1000);
}

Screen screenOf(int stream) {
  if (isatty(stream) == 0) return {};
  return {.width = terminalWidth(stream), .colour = environment("NO_COLOR").empty() && environment("TERM") != "dumb"};
}

/// Distributes `available` columns: narrow columns keep their width, wide ones share the rest.
std::vector<std::size_t> fitted(std::vector<std::size_t> widths, std::size_t available) {
  std::vector<std::size_t> order(widths.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, {}, [&](std::size_t column) { return widths[column]; });
  std::size_t left = order.size();
  for (const std::size_t column : order) {
    widths[column] = std::min(widths[column], available / left--);
    available -= widths[column];
  }
  return widths;
}

std::string withVisibleEnds(std::string line) {
  const auto escaped = [](std::size_t count) {
    std::string spaces;
    for (; count > 0; --count) spaces += "\\x20";
    return spaces;
  };
  const std::size_t first = std::min(line.find_first_not_of(' '), line.size());
  const std::size_t end = line.find_last_not_of(' ') + 1;
  if (first == 0 && end == line.size()) return line;
  return escaped(first) + line.substr(first, std::max(first, end) - first) +
         escaped(line.size() - std::max(first, end));
}

std::string_view codeOf(Style style) {
  constexpr std::string_view kCodes[] = {"", "\x1b[1m", "\x1b[32m", "\x1b[1;31m", "\x1b[2m", "\x1b[1;4m"};
  return kCodes[static_cast<std::size_t>(style)];
}

}  // namespace

Screen Screen::standardOutput() { return screenOf(STDOUT_FILENO); }
Screen Screen::standardError() { return screenOf(STDERR_FILENO); }

std::string styled(std::string_view text, Style style, const Screen& screen) {
  const std::string_view code = codeOf(style);
  if (!screen.colour || code.empty()) return std::string(text);
  return fmt::format("{}{}\x1b[0m", code, text);
}

std::string lineOf(const Value* value) {
  const std::string text = description(value);
  const std::size_t listing = std::min(text.find("(\n"), text.find("{\n"));
  if (listing == std::string::npos) return withVisibleEnds(visible(text));
  // A line break in a listing of an array or dictionary, with the indentation after it, means no more than a space.
  std::string line = text.substr(0, listing);
  for (std::size_t i = listing; i < text.size(); ++i) {
    line += text[i] == '\n' ? ' ' : text[i];
    if (text[i] == '\n') i = std::min(text.find_first_not_of(' ', i + 1), text.size()) - 1;
  }
  return withVisibleEnds(visible(line));
}

std::vector<std::size_t> Table::naturalWidths() const {
  std::vector<std::size_t> widths;
  for (const Row& row : rows_) {
    widths.resize(std::max(widths.size(), row.cells.size()));
    for (std::size_t i = 0; i < row.cells.size(); ++i) widths[i] = std::max(widths[i], displayWidth(row.cells[i]));
  }
  return widths;
}

std::string Table::text(const Screen& screen) const {
  std::vector<std::size_t> widths = naturalWidths();
  if (widths.empty()) return "";
  const std::size_t gaps = kGap * (widths.size() - 1);
  if (screen.width) {
    const std::size_t room = *screen.width - std::min(gaps, *screen.width);
    const std::size_t first = keepsFirst_ ? std::min(widths.front(), room / 2) : 0;
    std::vector<std::size_t> others = fitted({widths.begin() + (keepsFirst_ ? 1 : 0), widths.end()}, room - first);
    if (keepsFirst_) others.insert(others.begin(), first);
    widths = std::move(others);
  } else {
    for (std::size_t& width : widths) width = std::min(width, kWidestPadding);
  }
  std::string text;
  for (const Row& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.cells.size(); ++i) {
      const std::string cell = screen.width ? shortened(row.cells[i], widths[i]) : row.cells[i];
      line += cell;
      const bool last = i + 1 == row.cells.size();
      if (!last) line.append(widths[i] - std::min(displayWidth(cell), widths[i]) + kGap, ' ');
    }
    text += styled(line, row.style, screen) + "\n";
  }
  return text;
}

}  // namespace tavik::tool
