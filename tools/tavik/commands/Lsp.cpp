// `tavik lsp`: the language server for rule documents.

#include "lsp/Session.h"

#include "commands/Command.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph("Editors start this command and talk to it over standard input and output (Language Server Protocol "
              "3.17). In rule libraries, local rules and case files, in XML, old-style text and JSON, it reports the "
              "findings of tavik lint while you type, explains names, completes them, finds and renames rules in all "
              "documents of a product, and corrects misspelled names. Signatures are not verified."),
    paragraph("A file tavik-workspace.json in the folder of the documents, or in a folder above, says which of them "
              "belong together; paths are relative to it:"),
    literal(R"({"library": "rule-library.plist", "rules": ["local-rules.plist"], "cases": ["rule-tests.json"]})"),
    paragraph("Without it, a folder with a single rule library is one product. docs/editors.md describes how to set up "
              "editors."),
};
constexpr std::string_view kExamples[] = {"tavik lsp"};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "the editor ended the session"},
    {ExitStatus::kFailed, "standard input ended before the session"},
    {ExitStatus::kUnusable, "the command line is invalid, or standard input is not a sequence of messages"},
};
constexpr Help kHelp = {"Serve editors: findings, completion and names in rule documents", kDescription, kExamples,
                        kExitStatuses};

Run define(CLI::App& /*app*/) {
  return [] { return lsp::serve() ? ExitStatus::kPassed : ExitStatus::kFailed; };
}

}  // namespace

const Command kLsp = {"lsp", kHelp, define};

}  // namespace tavik::tool
