#include "commands/Help.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>

namespace tavik::tool {
namespace {

using Category = Help::Part::Category;

constexpr std::size_t kWidth = 118;

/// Appends a text whose lines after the first are indented.
void appendWrapped(std::string& to, std::string_view text, std::size_t indentation) {
  std::size_t column = to.size() - (to.rfind('\n') + 1);
  std::string_view gap;
  for (const std::string& word : CLI::detail::split(runningText(text), ' ')) {
    if (column + gap.size() + word.size() > kWidth) {
      to.append("\n").append(indentation, ' ');
      column = indentation;
      gap = "";
    }
    to.append(gap).append(word);
    column += gap.size() + word.size();
    gap = " ";
  }
}

/// "  term  text"; `width` is that of the terms.
void appendItem(std::string& to, std::string_view term, std::string_view text, std::size_t width) {
  fmt::format_to(std::back_inserter(to), "  {:<{}}  ", term, width);
  appendWrapped(to, text, width + 4);
}

void appendPart(std::string& to, const Help::Part& part, std::size_t width) {
  switch (part.category) {
    case Category::kParagraph:
      return appendWrapped(to, part.text, 0);
    case Category::kHeading:
      to.append(part.text).append(":");
      return;
    case Category::kItem:
      return appendItem(to, part.term, part.text, width);
    case Category::kLiteral:
      to += "  " + CLI::detail::find_and_replace(std::string(part.text), "\n", "\n  ");
  }
}

void appendDescription(std::string& to, std::span<const Help::Part> parts) {
  std::size_t width = 0;
  for (const Help::Part& part : parts) width = std::max(width, part.term.size());
  bool inList = false;
  for (const Help::Part& part : parts) {
    if (!to.empty()) to += inList && part.category == Category::kItem ? "\n" : "\n\n";
    appendPart(to, part, width);
    inList = part.category == Category::kItem || part.category == Category::kHeading;
  }
}

}  // namespace

std::string runningText(std::string_view text) {
  std::string line;
  for (const char character : text) {
    const bool isBlank = character == ' ' || character == '\n';
    if (!isBlank) line += character;
    if (isBlank && !line.ends_with(' ')) line += ' ';
  }
  return line;
}

std::string footerOf(const Help& help) {
  std::string text;
  appendDescription(text, help.description);
  text += help.examples.size() == 1 ? "\n\nExample:" : "\n\nExamples:";
  for (const std::string_view example : help.examples) text.append("\n  ").append(example);
  text += "\n\nExit status:";
  for (const auto& [status, meaning] : help.exitStatuses) {
    text += '\n';
    appendItem(text, std::to_string(static_cast<int>(status)), meaning, 1);
  }
  return text;
}

}  // namespace tavik::tool
