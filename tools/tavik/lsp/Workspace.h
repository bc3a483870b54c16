/// @file
/// The documents that a language server knows, and which of them belong together.
#ifndef TAVIK_TOOL_LSP_WORKSPACE_H
#define TAVIK_TOOL_LSP_WORKSPACE_H

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/Inputs.h"
#include "lsp/SourceDocument.h"

namespace tavik::tool::lsp {

/// Says which documents belong together: {"library": FILE, "rules": [FILE, ...], "cases": [FILE, ...]}.
inline constexpr std::string_view kWorkspaceFile = "tavik-workspace.json";

/// A rule library with its local rules and case files. Valid until the workspace changes.
struct Project {
  const SourceDocument* library = nullptr;
  std::vector<const SourceDocument*> rules;
  std::vector<const SourceDocument*> cases;
  std::vector<std::string> problems;  ///< why a document that belongs to it is missing

  /// The library first.
  [[nodiscard]] std::vector<const SourceDocument*> all() const;
};

/// The path of a "file" URI; empty for another URI.
std::string pathOfUri(std::string_view uri);

class Workspace {
 public:
  void setUnit(Unit unit) { unit_ = unit; }
  /// The folder above which no workspace file is looked for; by default, that of the document.
  void setRoot(const std::string& path) { root_ = path; }

  SourceDocument& open(const std::string& uri, std::string text);
  void close(const std::string& uri);
  /// An open document; null if it is not open.
  SourceDocument* find(const std::string& uri);

  /// The project of an open document: that of the workspace file next to it or in a folder above; otherwise that of the
  /// files that its folder holds, judged by their content, if only one of them is a library.
  Project projectOf(SourceDocument& document);

 private:
  /// A document that is not open, with the state of its file when it was read.
  struct Stored {
    std::unique_ptr<SourceDocument> document;
    std::filesystem::file_time_type time;
  };

  SourceDocument* documentAt(const std::filesystem::path& path, std::string& problem);
  SourceDocument* load(const std::string& path, std::string& problem);
  std::optional<std::filesystem::path> workspaceFileOf(const SourceDocument& document) const;
  bool readWorkspaceFile(const std::filesystem::path& file, const SourceDocument& document, Project& project);
  void addCaseDocuments(const SourceDocument& cases, Project& project);
  void guess(SourceDocument& document, Project& project);

  Unit unit_ = Unit::kUtf16;
  std::filesystem::path root_;
  std::map<std::string, std::unique_ptr<SourceDocument>> open_;  // by path, otherwise by URI
  std::map<std::string, Stored> stored_;                         // by path
  Inputs inputs_{Inputs::Kinds::kFiles};
};

}  // namespace tavik::tool::lsp

#endif
