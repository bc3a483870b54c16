/// @file
/// The features of the language server. To add one, write a function in a file of its own, declare it here, and add a
/// row to the table in Server.cpp.
#ifndef TAVIK_TOOL_LSP_FEATURE_H
#define TAVIK_TOOL_LSP_FEATURE_H

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "lsp/Checker.h"
#include "lsp/Workspace.h"

namespace tavik::tool::lsp {

using Json = nlohmann::json;

/// The text of a message or a part of it. Bytes that are not UTF-8 are replaced.
std::string jsonText(const Json& json);

/// A request that cannot be answered, with the reason for the user.
class RequestFailed : public std::runtime_error {
 public:
  static constexpr int kFailed = -32803;

  explicit RequestFailed(const std::string& why, int code = kFailed) : std::runtime_error(why), code_(code) {}
  [[nodiscard]] int code() const noexcept { return code_; }

 private:
  int code_;
};

/// A request about an open document.
struct Query {
  const SourceDocument& document;
  const Project& project;
  const CheckedDocument* checked;  ///< its last problems; null if there are none
  const Json& params;

  /// Of "position". Throws Json::exception if it is missing or malformed.
  [[nodiscard]] std::size_t offset() const;
};

/// The result of a request.
struct Result {
  Result(const Json& result) : json(jsonText(result)) {}
  /// Text that is JSON, for large results.
  explicit Result(std::string text) : json(std::move(text)) {}

  std::string json;
};

/// The answers to requests: null or empty if nothing is known at the place. They throw `RequestFailed` and, if the
/// parameters are malformed, Json::exception.
Result codeActions(const Query& query);
Result completion(const Query& query);
Result definition(const Query& query);
Result documentSymbols(const Query& query);
Result hover(const Query& query);
Result prepareRename(const Query& query);
Result references(const Query& query);
Result rename(const Query& query);

/// A position in a message; throws Json::exception if it is malformed.
Position positionIn(const Json& position);
/// A position in a document.
Position positionOf(const SourceDocument& document, std::size_t offset);
Json rangeOf(const SourceDocument& document, Span span);
/// A place for the editor to go to.
Json locationOf(const SourceDocument& document, Span span);
/// The names in a document that are the same as `name`.
std::vector<const Name*> sameNames(const SourceDocument& document, const Name& name);
/// Text without any meaning in Markdown.
std::string codeOf(std::string_view text);

}  // namespace tavik::tool::lsp

#endif
