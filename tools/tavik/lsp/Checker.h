/// @file
/// Finds the problems of the documents of a project, on a thread of its own.
#ifndef TAVIK_TOOL_LSP_CHECKER_H
#define TAVIK_TOOL_LSP_CHECKER_H

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "io/FileDescriptor.h"
#include "lint/Check.h"
#include "lsp/SourceDocument.h"

namespace tavik::tool::lsp {

struct Problem {
  Span span;
  lint::Severity severity;
  std::string name;  ///< of the kind of problem
  std::string message;
  std::optional<lint::Suggestion> suggestion = {};  ///< absent without a quick fix
};

/// A document to check, or a checked one with its problems.
struct CheckedDocument {
  std::string uri;
  std::string path;  ///< empty if the document is not a file
  Role role;
  SharedText text;
  bool isReported;  ///< whether its problems are sent to the editor
  std::vector<Problem> problems = {};
};

/// Checks the documents of a project: a rule library, if there is one, then the others. A document that cannot be read
/// gets its syntax error, and the problems of its last text that could be read.
class Checker {
 public:
  /// Returns the documents with their problems added.
  std::vector<CheckedDocument> check(std::vector<CheckedDocument> documents);

 private:
  struct Readable {
    SharedText text;
    Value content;
    ValueLocations locations;
  };

  const Readable* read(CheckedDocument& document);

  std::map<std::string, Readable> lastReadable_;  // by URI
};

/// Runs a checker on a thread, one project at a time.
class CheckThread {
 public:
  CheckThread();
  CheckThread(const CheckThread&) = delete;
  CheckThread& operator=(const CheckThread&) = delete;
  /// Waits for the check that runs.
  ~CheckThread();

  [[nodiscard]] bool isIdle() const noexcept { return !isBusy_; }
  /// Only while idle.
  void start(std::vector<CheckedDocument> documents);
  /// Readable once a result is available.
  [[nodiscard]] int descriptor() const noexcept { return event_.number(); }
  /// Only once a result is available; idle afterwards. Empty if memory ran out.
  std::vector<CheckedDocument> take();

 private:
  void run();

  bool isBusy_ = false;
  FileDescriptor event_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isEnding_ = false;
  std::optional<std::vector<CheckedDocument>> input_;
  std::optional<std::vector<CheckedDocument>> output_;
  std::thread thread_;
};

}  // namespace tavik::tool::lsp

#endif
