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

/// A request that cannot be answered, with the reason for the user.
class RequestFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A request about an open document.
struct Query {
  const SourceDocument& document;
  const Project& project;
  const CheckedDocument* checked;  ///< its last problems; null if there are none
  const Json& params;

  /// Of "position". Throws Json::exception if there is none.
  [[nodiscard]] std::size_t offset() const;
};

// Each returns the result of the request.
Json codeActions(const Query& query);
Json completion(const Query& query);
Json definition(const Query& query);
Json documentSymbols(const Query& query);
Json hover(const Query& query);
Json prepareRename(const Query& query);
Json references(const Query& query);
Json rename(const Query& query);

/// A position in a message; throws Json::exception if it is malformed.
Position positionIn(const Json& position);
Json rangeOf(const SourceDocument& document, Span span);
/// A place for the editor to go to.
Json locationOf(const SourceDocument& document, Span span);
/// The names in a document that are the same as `name`.
std::vector<const Name*> sameNames(const SourceDocument& document, const Name& name);
/// Text without any meaning in Markdown.
std::string codeOf(std::string_view text);

}  // namespace tavik::tool::lsp

#endif
