// The `tavik` command: finds the requested command, parses its options, and turns the result into an exit status and,
// for a failure, one line on standard error.

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <exception>
#include <new>
#include <span>

#include "ExitStatus.h"
#include "commands/Commands.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "text/NearestName.h"

namespace tavik::tool {
namespace {

const Command& commandNamed(std::string_view name) {
  const Command* const command = findCommand(name);
  if (command == nullptr) {
    std::vector<std::string_view> names;
    for (const Command* known : commands()) names.push_back(known->name);
    throw Unusable(fmt::format("unknown command \"{}\"{}; see tavik --help", name, didYouMean(name, names)));
  }
  return *command;
}

/// What is wrong with the arguments. An unknown option is named first: it is often a misspelled required one.
std::string usageError(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining();
  if (!unknown.empty()) {
    const std::string& word = unknown.front();
    if (!word.starts_with('-')) return fmt::format("unexpected argument \"{}\"", word);
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    return fmt::format("unknown option \"{}\"{}", word,
                       didYouMean(word, std::vector<std::string_view>(names.begin(), names.end())));
  }
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_items_expected_max() <= 1 && option->count() > 1) return option->get_name() + " is given twice";
  }
  return error.what();
}

/// Parses the options and runs the command. `arguments` are those after its name.
ExitStatus run(const Command& command, std::span<char* const> arguments) {
  const auto [app, runCommand] = makeCommand(command);
  try {
    app->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::CallForHelp&) {
    writeStandardOutput(app->help());
    return ExitStatus::kPassed;
  } catch (const CLI::CallForVersion&) {
    writeStandardOutput(versionText() + "\n");
    return ExitStatus::kPassed;
  } catch (const CLI::ParseError& error) {
    throw Unusable(fmt::format("{}; see tavik {} --help", usageError(*app, error), command.name));
  }
  return runCommand();
}

ExitStatus dispatch(std::span<char* const> arguments) {
  if (arguments.empty()) throw Unusable("a command is missing; see tavik --help");
  const std::string_view first = arguments.front();
  const bool asksForVersion = first == "--version" || first == "version";
  const bool asksForHelp = first == "-h" || first == "--help" || first == "help";
  if (asksForHelp && arguments.size() > 1) {
    writeStandardOutput(makeCommand(commandNamed(arguments[1])).app->help());
    return ExitStatus::kPassed;
  }
  if (asksForHelp || asksForVersion) {
    writeStandardOutput(asksForVersion ? versionText() + "\n" : overviewText());
    return ExitStatus::kPassed;
  }
  return run(commandNamed(first), arguments.subspan(1));
}

/// The command's name for messages; empty if there is no such command.
std::string_view nameIn(std::span<char* const> arguments) {
  const std::string_view first = arguments.empty() ? "" : arguments.front();
  return findCommand(first) != nullptr ? first : "";
}

/// A file opened later must not become a closed standard stream: reading or writing such a stream must fail.
void reserveStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) == -1) open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

/// Reports that memory is exhausted without allocating any.
void printOutOfMemory(std::string_view command) {
  char line[64];
  const auto end =
      fmt::format_to_n(line, sizeof line, "tavik: {}{}out of memory\n", command, command.empty() ? "" : ": ");
  writeStandardError({line, std::min(end.size, sizeof line)});
}

ExitStatus tavik(std::span<char* const> arguments) {
  try {
    return dispatch(arguments);
  } catch (const ReaderGone& failure) {
    return failure.status();
  } catch (const Failure& failure) {
    printToStandardError(nameIn(arguments), failure.what());
    return failure.status();
  } catch (const std::bad_alloc&) {
    printOutOfMemory(nameIn(arguments));
  } catch (const std::exception& error) {
    printToStandardError(nameIn(arguments), error.what());
  }
  return ExitStatus::kUnusable;
}

}  // namespace
}  // namespace tavik::tool

int main(int argc, char** argv) {
  tavik::tool::reserveStandardStreams();
  std::setlocale(LC_CTYPE, "C.UTF-8");  // for the display width of characters
  std::signal(SIGPIPE, SIG_IGN);        // a closed pipe is an error of write(2),
  std::signal(SIGXFSZ, SIG_IGN);        // and so is a file that may not grow
  return static_cast<int>(
      tavik::tool::tavik(std::span(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0)));
}
