/// @file
/// Statements: rule documents with a role, a product, a revision and an expiry date.
#ifndef TAVIK_PLATFORM_STATEMENT_H
#define TAVIK_PLATFORM_STATEMENT_H

#include <tavik/Provenance.h>
#include <tavik/Value.h>

#include <optional>
#include <string>

namespace tavik {

struct StatedDocument {
  Statement statement;
  Dictionary document;
};

/// A statement from the payload of an envelope, which must have exactly the entries of a statement.
std::optional<StatedDocument> readStatement(const Dictionary& payload, std::string& error);

/// The payload of an envelope; absent with `error` set if the statement is not valid.
std::optional<Dictionary> writeStatement(const StatedDocument& stated, std::string& error);

/// Whether a document is a plain rule document; sets `error` to "WHAT is a statement" or "... a signed document" if
/// not.
bool checkPlain(const Dictionary& document, std::string_view what, std::string& error);

/// "2026-11-21T01:02:03Z", for messages.
std::string dateText(Date date);

/// The current time in whole seconds.
Date systemTime();

}  // namespace tavik

#endif
