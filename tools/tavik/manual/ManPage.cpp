#include "manual/ManPage.h"

#include <fmt/format.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>

#include "commands/Commands.h"
#include "text/Text.h"

namespace tavik::tool::manual {
namespace {

/// Running text in which nothing is taken for a request or an escape, and whose quotes and hyphens can be copied into a
/// shell.
std::string roff(std::string_view text) {
  std::string out;
  for (const char character : text) {
    switch (character) {
      case '\\':
        out += "\\e";
        break;
      case '-':
        out += "\\-";
        break;
      case '\'':
        out += "\\(aq";
        break;
      case '`':
        out += "\\(ga";
        break;
      case '^':
        out += "\\(ha";
        break;
      case '~':
        out += "\\(ti";
        break;
      default:
        out += character;
    }
  }
  return out.starts_with('.') ? "\\&" + out : out;
}

std::string bold(std::string_view text) { return "\\fB" + roff(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + roff(text) + "\\fR"; }

class Page {
 public:
  Page(std::string_view name, std::string_view summary, std::string_view date) {
    text_ = fmt::format(".TH {} 1 {} \"{}\" \"Station tools\"\n", upperCase(name), date, versionText());
    section("NAME");
    line(roff(name) + " \\- " + roff(summary));
  }

  void section(std::string_view heading) { text_ += fmt::format(".SH {}\n", heading); }
  void subsection(std::string_view heading) { text_ += fmt::format(".SS {}\n", roff(heading)); }
  void line(std::string_view roffText) { text_.append(roffText).append("\n"); }

  void paragraph(std::string_view text) {
    if (!followsHeading()) text_ += ".PP\n";
    line(roff(text));
  }

  void item(std::string_view roffTerm, std::string_view text) {
    text_ += ".TP\n";
    line(roffTerm);
    line(roff(text));
  }

  void literal(std::string_view lines) {
    if (!followsHeading()) text_ += ".PP\n";
    text_ += ".RS 4\n.nf\n";
    for (const std::string& each : CLI::detail::split(std::string(lines), '\n')) line(roff(each));
    text_ += ".fi\n.RE\n";
  }

  void add(const Help::Part& part) {
    using enum Help::Part::Category;
    switch (part.category) {
      case kParagraph:
        return paragraph(runningText(part.text));
      case kHeading:
        return subsection(part.text);
      case kItem:
        return item(bold(part.term), runningText(part.text));
      case kLiteral:
        return literal(part.text);
    }
  }

  void seeAlso(std::span<const std::string> pages) {
    section("SEE ALSO");
    std::string references;
    for (const std::string& page : pages) references += (references.empty() ? "" : ", ") + bold(page) + "(1)";
    line(references);
  }

  std::string text() && { return std::move(text_); }

 private:
  /// A heading already leaves the space of a paragraph.
  [[nodiscard]] bool followsHeading() const {
    const std::size_t lastLine = text_.rfind('\n', text_.size() - 2) + 1;
    return text_.compare(lastLine, 2, ".S") == 0;
  }

  std::string text_;
};

/// "--library FILE", "KIND" or "[INPUT]".
std::string synopsisOf(const OptionHelp& option) {
  const std::string value = option.takesValue ? italic(option.valueName()) + (option.repeatable ? "..." : "") : "";
  if (!option.positional) return bold(option.names.back()) + " " + value;
  return option.required ? value : "[" + value + "]";
}

std::string termOf(const OptionHelp& option) {
  if (option.positional) return italic(option.names.front());
  std::string term;
  for (const std::string& name : option.names) term += (term.empty() ? "" : ", ") + bold(name);
  return option.takesValue ? term + " " + italic(option.type) : term;
}

std::string descriptionOf(const OptionHelp& option) {
  std::string text = option.description;
  if (!option.defaultValue.empty()) text += fmt::format(" (by default {})", option.defaultValue);
  return text + (option.required && !option.positional ? "; required." : ".");
}

void addSynopsis(Page& page, const CommandHelp& command) {
  page.section("SYNOPSIS");
  std::string options;
  std::string arguments;
  for (const OptionHelp& option : command.options) {
    if (option.positional || option.required) (option.positional ? arguments : options) += " " + synopsisOf(option);
  }
  page.line(bold("tavik " + command.name) + options + " [" + italic("OPTION") + "]..." + arguments);
}

void addOptions(Page& page, const CommandHelp& command) {
  page.section("OPTIONS");
  for (const bool positional : {true, false}) {
    for (const OptionHelp& option : command.options) {
      if (option.positional == positional) page.item(termOf(option), descriptionOf(option));
    }
  }
}

void addExitStatuses(Page& page, std::span<const ExitMeaning> statuses) {
  page.section("EXIT STATUS");
  for (const auto& [status, meaning] : statuses) {
    page.item(bold(std::to_string(static_cast<int>(status))), runningText(meaning) + ".");
  }
}

void addExamples(Page& page, std::span<const std::string_view> examples) {
  page.section("EXAMPLES");
  page.literal(fmt::format("{}", fmt::join(examples, "\n")));
}

}  // namespace

std::string commandPage(const CommandHelp& command, std::string_view date) {
  Page page("tavik-" + command.name, command.text.summary, date);
  addSynopsis(page, command);
  page.section("DESCRIPTION");
  page.line(roff(command.text.summary) + ".");
  for (const Help::Part& part : command.text.description) page.add(part);
  addOptions(page, command);
  addExitStatuses(page, command.text.exitStatuses);
  addExamples(page, command.text.examples);
  page.seeAlso(std::vector<std::string>{"tavik"});
  return std::move(page).text();
}

std::string overviewPage(std::span<const CommandHelp> commands, std::string_view date) {
  Page page("tavik", "check kernel for factory test stations", date);
  std::vector<std::string> pages;
  std::vector<std::string_view> examples;
  page.section("SYNOPSIS");
  page.line(bold("tavik") + " " + italic("COMMAND") + " [" + italic("OPTION") + "]...");
  page.section("DESCRIPTION");
  page.line(roff(kPurpose));
  page.paragraph("Each command has its own page.");
  for (const CommandHelp& command : commands) {
    pages.push_back("tavik-" + command.name);
    examples.push_back(command.text.examples.front());
    page.item(bold(command.name), std::string(command.text.summary) + ".");
  }
  page.section("OPTIONS");
  page.item(bold("-h") + ", " + bold("--help"), "Print the commands and exit; after a command, print its options.");
  page.item(bold("--version"), "Print the version and exit.");
  addExitStatuses(page, exitMeanings());
  page.section("ENVIRONMENT");
  page.item(bold("COLUMNS"), "Overrides the width of the terminal.");
  page.item(bold("NO_COLOR"), "If set, disables color.");
  page.item(bold("SOURCE_DATE_EPOCH"), "The creation time shown in reports, in seconds since 1970.");
  page.section("FILES");
  page.item(italic(ZRTTavikKernel::kPublicKeyPath), "The public keys that rule documents are verified with.");
  addExamples(page, examples);
  page.seeAlso(pages);
  return std::move(page).text();
}

}  // namespace tavik::tool::manual
