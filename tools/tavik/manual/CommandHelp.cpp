#include "manual/CommandHelp.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "commands/Commands.h"
#include "commands/CommonOptions.h"

namespace tavik::tool::manual {
namespace {

constexpr std::string_view kExamples = "Example";  // and "Examples"
constexpr std::string_view kExitStatus = "Exit status:";

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

/// The parts of a text between its empty lines.
std::vector<std::vector<std::string_view>> chunksOf(std::string_view text) {
  std::vector<std::vector<std::string_view>> chunks(1);
  for (const std::string_view line : linesOf(text)) {
    if (!line.empty()) {
      chunks.back().push_back(line);
    } else if (!chunks.back().empty()) {
      chunks.emplace_back();
    }
  }
  return chunks;
}

std::string_view withoutIndentation(std::string_view line) {
  return line.substr(std::min(line.find_first_not_of(' '), line.size()));
}

bool isIndented(std::string_view line) { return line.starts_with("  "); }

/// Joins the lines into running text.
std::string joined(std::span<const std::string_view> lines) {
  std::string text;
  for (const std::string_view line : lines) {
    if (!text.empty()) text += ' ';
    text += withoutIndentation(line);
  }
  return text;
}

/// "  term  description" as an item; absent for lines with any other indentation.
std::optional<Block> itemOf(std::string_view line) {
  const std::string_view content = withoutIndentation(line);
  const std::size_t gap = content.find("  ");
  if (line.size() - content.size() != 2 || gap == std::string_view::npos) return std::nullopt;
  return Block{Block::Category::kItem, std::string(withoutIndentation(content.substr(gap))),
               std::string(content.substr(0, gap))};
}

/// Handles lines that are all indented: a list if the first is an item, continued by lines with deeper indentation;
/// otherwise a literal block.
void addIndented(std::vector<Block>& blocks, std::span<const std::string_view> lines) {
  if (!itemOf(lines.front())) {
    blocks.push_back({Block::Category::kLiteral, ""});
    for (const std::string_view line : lines) blocks.back().text.append(line.substr(2)).append("\n");
    return;
  }
  for (const std::string_view line : lines) {
    if (auto item = itemOf(line)) {
      blocks.push_back(*std::move(item));
    } else {
      blocks.back().text.append(" ").append(withoutIndentation(line));
    }
  }
}

void addBlocks(std::vector<Block>& blocks, std::span<const std::string_view> lines) {
  if (isIndented(lines.front())) return addIndented(blocks, lines);
  const auto list = std::ranges::find_if(lines, isIndented);
  const bool isHeading = lines.size() > 1 && list - lines.begin() == 1 && lines.front().ends_with(':');
  if (isHeading) {
    const std::string_view heading = lines.front().substr(0, lines.front().size() - 1);
    blocks.push_back({Block::Category::kHeading, std::string(heading)});
  } else {
    blocks.push_back({Block::Category::kParagraph, joined({lines.begin(), list})});
  }
  if (list != lines.end()) addIndented(blocks, {list, lines.end()});
}

/// "0 every rule passed, 1 a rule failed", by status.
std::vector<std::pair<std::string, std::string>> exitStatusesIn(std::string text) {
  std::vector<std::pair<std::string, std::string>> statuses;
  const auto beginsStatus = [&](std::size_t place) {
    return place + 1 < text.size() && text[place] >= '0' && text[place] <= '9' && text[place + 1] == ' ';
  };
  for (std::size_t place = 0; place < text.size();) {
    std::size_t end = place;
    do {
      end = std::min(text.find(", ", end + 1), text.size());
    } while (end != text.size() && !beginsStatus(end + 2));
    const bool last = end == text.size();
    const std::string_view part = std::string_view(text).substr(place, end - place);
    statuses.emplace_back(part.substr(0, 1), part.substr(2, part.size() - 2 - (last && part.ends_with('.') ? 1 : 0)));
    place = last ? end : end + 2;
  }
  return statuses;
}

void readFooter(CommandHelp& help, std::string_view footer) {
  for (const std::vector<std::string_view>& lines : chunksOf(footer)) {
    if (lines.empty()) continue;
    if (lines.front().starts_with(kExamples) && lines.front().ends_with(':')) {
      for (const std::string_view line : std::span(lines).subspan(1))
        help.examples.emplace_back(withoutIndentation(line));
    } else if (lines.front().starts_with(kExitStatus)) {
      help.exitStatuses = exitStatusesIn(joined(lines).substr(kExitStatus.size() + 1));
    } else {
      addBlocks(help.description, lines);
    }
  }
}

OptionHelp helpOf(CLI::Option& option) {
  OptionHelp help;
  help.positional = option.get_positional();
  if (help.positional) help.names.push_back(option.get_name(true));
  for (const std::string& name : option.get_snames()) help.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) help.names.push_back("--" + name);
  help.takesValue = option.get_items_expected_max() != 0;
  help.type = help.takesValue ? option.get_type_name() : "";
  help.description = option.get_description();
  help.defaultValue = option.get_default_str();
  help.choices = choicesOf(option);
  help.required = option.get_required();
  help.repeatable = option.get_items_expected_max() > 1;
  return help;
}

}  // namespace

CommandHelp helpOf(const Command& command) {
  const DefinedCommand defined = makeCommand(command);
  CommandHelp help;
  help.name = command.name;
  help.summary = command.summary;
  for (CLI::Option* const option : defined.app->get_options({})) help.options.push_back(helpOf(*option));
  readFooter(help, defined.app->get_footer());
  if (help.examples.empty() || help.exitStatuses.empty())
    throw std::runtime_error(help.name + ": its help lacks \"Examples:\" or \"Exit status:\"");
  return help;
}

}  // namespace tavik::tool::manual
