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
  std::optional<lint::Suggestion> suggestion = {};
};

/// A document to check, or a checked one with its problems.
struct CheckedDocument {
  std::string uri;
  std::string path;
  Role role;
  SharedText text;
  bool isReported;
  std::vector<Problem> problems = {};
};

/// Checks the documents of a project: a rule library, if there is one, then the others. A document that cannot be read
/// has its syntax error, and the problems of its last text that could be read.
class Checker {
 public:
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
  /// Readable when a result is there.
  [[nodiscard]] int descriptor() const noexcept { return event_.number(); }
  /// Only when a result is there; idle afterwards.
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
