#include "lsp/Workspace.h"

#include <fmt/format.h>
#include <tavik/Json.h>
#include <tavik/Platform.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <system_error>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "text/Text.h"

namespace tavik::tool::lsp {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kScheme = "file://";

/// Other files are not read to guess a project.
constexpr std::uintmax_t kMostBytesGuessed = std::uintmax_t{16} << 20;
constexpr std::size_t kMostFilesGuessed = 100;
constexpr int kMostEntriesListed = 10'000;

std::string normal(const fs::path& path) { return path.lexically_normal().string(); }

/// How a document is found again.
std::string keyOf(const std::string& uri) {
  std::string path = pathOfUri(uri);
  return path.empty() ? uri : path;
}

/// The first files in a folder that may be documents, by name.
std::vector<fs::path> candidatesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  int listed = 0;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    if (++listed > kMostEntriesListed) break;
    const std::string extension = lowerCase(at->path().extension().string());
    const bool mayBe = extension == ".plist" || extension == ".json" || extension == ".xml" || extension == ".signed";
    if (mayBe && at->path().filename() != kWorkspaceFile) files.push_back(at->path());
  }
  std::ranges::sort(files);
  if (files.size() > kMostFilesGuessed) files.resize(kMostFilesGuessed);
  std::uintmax_t left = kMostBytesGuessed;
  std::erase_if(files, [&](const fs::path& file) {
    std::error_code ignored;
    const std::uintmax_t size = fs::file_size(file, ignored);
    const bool isTooLarge = ignored || size > left;
    if (!isTooLarge) left -= size;
    return isTooLarge;
  });
  return files;
}

/// The paths under a key of a workspace file: a string or an array of strings.
std::vector<std::string> pathsAt(const Dictionary& content, std::string_view key) {
  std::vector<std::string> paths;
  if (const auto path = content.findString(key)) paths.emplace_back(*path);
  if (const Array* const array = content.findArray(key)) {
    for (const Value& element : *array) {
      if (element.isString()) paths.emplace_back(*element.ifString());
    }
  }
  return paths;
}

void add(SourceDocument& document, Role role, Project& project) {
  document.setRole(role);
  if (role == Role::kLibrary) project.library = &document;
  if (role == Role::kRules) project.rules.push_back(&document);
  if (role == Role::kCases) project.cases.push_back(&document);
}

}  // namespace

std::vector<const SourceDocument*> Project::all() const {
  std::vector<const SourceDocument*> documents;
  if (library != nullptr) documents.push_back(library);
  documents.insert(documents.end(), rules.begin(), rules.end());
  documents.insert(documents.end(), cases.begin(), cases.end());
  return documents;
}

std::string pathOfUri(std::string_view uri) {
  if (!uri.starts_with(kScheme) || !uri.substr(kScheme.size()).starts_with('/')) return "";
  uri.remove_prefix(kScheme.size());
  std::string path;
  for (std::size_t i = 0; i < uri.size(); ++i) {
    const char* const digits = uri.data() + i + 1;
    std::uint8_t byte = 0;
    const bool isEscape =
        uri[i] == '%' && i + 2 < uri.size() && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
    path += isEscape ? static_cast<char>(byte) : uri[i];
    if (isEscape) i += 2;
  }
  return path.find('\0') == std::string::npos ? normal(path) : "";
}

SourceDocument& Workspace::open(const std::string& uri, std::string text) {
  std::unique_ptr<SourceDocument>& document = open_[keyOf(uri)];
  document = std::make_unique<SourceDocument>(uri, pathOfUri(uri), unit_);
  document->setText(std::move(text));
  return *document;
}

void Workspace::close(const std::string& uri) {
  open_.erase(keyOf(uri));
  stored_.clear();
}

SourceDocument* Workspace::find(const std::string& uri) {
  const auto found = open_.find(keyOf(uri));
  return found == open_.end() ? nullptr : found->second.get();
}

SourceDocument* Workspace::documentAt(const fs::path& path, std::string& problem) {
  const std::string key = normal(path);
  const auto found = open_.find(key);
  return found != open_.end() ? found->second.get() : load(key, problem);
}

SourceDocument* Workspace::load(const std::string& path, std::string& problem) {
  std::error_code error;
  const fs::file_time_type time = fs::last_write_time(path, error);
  Stored& stored = stored_[path];
  if (!error && stored.document && stored.time == time) return stored.document.get();
  stored.document.reset();
  try {
    std::string text = inputs_.bytes("", path, kLargestRuleDocument);
    if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
    stored.document = std::make_unique<SourceDocument>(uriOf(path), path, unit_);
    stored.document->setText(std::move(text));
    stored.time = time;
  } catch (const Unusable& failure) {
    problem = failure.what();
  }
  return stored.document.get();
}

Project Workspace::projectOf(SourceDocument& document) {
  Project project;
  const std::optional<fs::path> file = workspaceFileOf(document);
  if (file && readWorkspaceFile(*file, document, project)) return project;
  if (document.ownRole() != Role::kUnknown) document.setRole(document.ownRole());  // otherwise, it may be malformed
  if (document.role() == Role::kCases) {
    addCaseDocuments(document, project);
    project.cases.push_back(&document);
  } else {
    guess(document, project);
  }
  return project;
}

std::optional<fs::path> Workspace::workspaceFileOf(const SourceDocument& document) const {
  if (document.path().empty()) return std::nullopt;
  fs::path folder = fs::path(document.path()).parent_path();
  while (true) {
    std::error_code error;
    fs::path file = folder / kWorkspaceFile;
    if (open_.contains(file.string()) || fs::exists(file, error)) return file;
    const auto [end, ignored] = std::mismatch(root_.begin(), root_.end(), folder.begin(), folder.end());
    const bool isBelowRoot = !root_.empty() && end == root_.end() && folder != root_;
    if (!isBelowRoot) return std::nullopt;
    folder = folder.parent_path();
  }
}

/// Returns false if the document is not in the project, with the problems of the workspace file.
bool Workspace::readWorkspaceFile(const fs::path& file, const SourceDocument& document, Project& project) {
  const auto fail = [&](const std::string& why) {
    project.problems.push_back(fmt::format("{}: {}", kWorkspaceFile, why));
    return false;
  };
  std::string problem;
  const SourceDocument* const source = documentAt(file, problem);
  if (source == nullptr) return fail(problem);
  const std::optional<Value> content = readJson(*source->text(), problem);
  if (!content) return fail(problem);
  if (content->ifDictionary() == nullptr) return fail("is not an object");
  constexpr std::pair<std::string_view, Role> kParts[] = {
      {"library", Role::kLibrary}, {"rules", Role::kRules}, {"cases", Role::kCases}};
  Project read;
  for (const auto& [key, role] : kParts) {
    for (const std::string& path : pathsAt(*content->ifDictionary(), key)) {
      std::string why;
      SourceDocument* const member = documentAt(file.parent_path() / path, why);
      if (member == nullptr) {
        read.problems.push_back(fmt::format("{}: {}", kWorkspaceFile, why));
      } else {
        add(*member, role, read);
      }
    }
  }
  if (std::ranges::count(read.all(), &document) == 0) return false;
  project = std::move(read);
  return true;
}

/// The documents that a case file names.
void Workspace::addCaseDocuments(const SourceDocument& cases, Project& project) {
  if (cases.path().empty()) return;
  const Outline& outline = cases.outline();
  for (const OutlineNode& node : outline.nodes) {
    if (node.depth != 1 || node.kind != OutlineNode::Kind::kString) continue;
    const std::string_view key = node.key.content.in(outline.text);
    if (key != "library" && key != "rules") continue;
    std::string ignored;  // reported with the case file
    SourceDocument* const named =
        documentAt(fs::path(cases.path()).parent_path() / outline.textOf(node.value), ignored);
    if (named != nullptr) add(*named, key == "library" ? Role::kLibrary : Role::kRules, project);
  }
}

void Workspace::guess(SourceDocument& document, Project& project) {
  std::vector<SourceDocument*> libraries;
  Project others;
  const auto consider = [&](SourceDocument& candidate, Role role) {
    if (role == Role::kLibrary) libraries.push_back(&candidate);
    if (role == Role::kRules || role == Role::kCases) add(candidate, role, others);
  };
  consider(document, document.role());
  if (!document.path().empty()) {
    for (const fs::path& path : candidatesIn(fs::path(document.path()).parent_path())) {
      std::string ignored;
      SourceDocument* const candidate = documentAt(path, ignored);
      if (candidate != nullptr && candidate != &document) consider(*candidate, candidate->ownRole());
    }
  }
  if (libraries.size() == 1 && document.role() != Role::kUnknown) {
    project = std::move(others);
    add(*libraries.front(), Role::kLibrary, project);
  } else {
    add(document, document.role(), project);
  }
}

}  // namespace tavik::tool::lsp
