// Writes the manual pages and the shell completions of `tavik` into a folder during the build:
//
//     tavik_manual FOLDER DATE
//
// FOLDER/man gets one page for the tool and one per command, FOLDER/completions the files for bash and zsh.

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <vector>

#include "commands/Commands.h"
#include "manual/CommandHelp.h"
#include "manual/Completion.h"
#include "manual/ManPage.h"

namespace tavik::tool::manual {
namespace {

void write(const std::filesystem::path& path, std::string_view text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error(path.string() + ": cannot be written");
}

/// Starts with an empty folder, so that pages of removed commands do not remain.
std::filesystem::path emptied(const std::filesystem::path& folder) {
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  return folder;
}

void writeAll(const std::filesystem::path& folder, std::string_view date) {
  std::vector<CommandHelp> helps;
  for (const Command* command : commands()) helps.push_back(helpOf(*command));
  const std::filesystem::path pages = emptied(folder / "man");
  write(pages / "tavik.1", overviewPage(helps, date));
  for (const CommandHelp& help : helps) write(pages / ("tavik-" + help.name + ".1"), commandPage(help, date));
  const std::filesystem::path completions = emptied(folder / "completions");
  write(completions / "tavik", bashCompletion(helps));
  write(completions / "_tavik", zshCompletion(helps));
}

}  // namespace
}  // namespace tavik::tool::manual

int main(int argc, char** argv) {
  try {
    if (argc != 3) throw std::runtime_error("usage: tavik_manual FOLDER DATE");
    tavik::tool::manual::writeAll(argv[1], argv[2]);
  } catch (const std::exception& error) {
    std::cerr << "tavik_manual: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
