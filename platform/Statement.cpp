#include "Statement.h"

#include <tavik/PropertyList.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "Entries.h"

namespace tavik {
namespace {

constexpr std::string_view kOwner = "the statement";

std::optional<DocumentRole> roleFrom(const Dictionary& payload, std::string& error) {
  const Value* word = entry(payload, "role", Kind::kString, kOwner, error);
  if (word == nullptr) return std::nullopt;
  for (const DocumentRole role : {DocumentRole::kLibrary, DocumentRole::kLocalRules}) {
    if (word->ifString() == wordOf(role)) return role;
  }
  error = "the statement has the unknown role " + quoted(*word->ifString());
  return std::nullopt;
}

bool readFields(const Dictionary& payload, Statement& statement, std::string& error) {
  const std::optional<DocumentRole> role = roleFrom(payload, error);
  const Value* product = role ? entry(payload, "product", Kind::kString, kOwner, error) : nullptr;
  const Value* revision = product != nullptr ? entry(payload, "revision", Kind::kNumber, kOwner, error) : nullptr;
  const Value* expires = nullptr;
  if (revision == nullptr || !optionalEntry(payload, "expires", Kind::kDate, kOwner, expires, error)) return false;
  statement = {*role, std::string(*product->ifString()), revision->ifInteger().value_or(0), std::nullopt};
  if (expires != nullptr) statement.expires = expires->ifDate();
  return true;
}

bool checkFields(const Statement& statement, std::string& error) {
  if (statement.product.empty()) {
    error = "\"product\" of the statement is empty";
  } else if (statement.revision < 1) {
    error = "\"revision\" of the statement is not an integer from 1";
  } else {
    return true;
  }
  return false;
}

}  // namespace

bool checkPlain(const Dictionary& document, std::string_view what, std::string& error) {
  const auto hasAll = [&](const auto& keys) {
    return std::ranges::all_of(keys, [&](std::string_view key) { return document.contains(key); });
  };
  const bool isStatement = hasAll(std::array{"role", "product", "revision", "document"});
  const bool isSigned = hasAll(std::array{"payloadType", "payload", "signatures"});
  if (isStatement || isSigned) {
    error = std::string(what) + " is " + (isStatement ? "a statement" : "a signed document") + ", not a rule document";
  }
  return !isStatement && !isSigned;
}

std::optional<StatedDocument> readStatement(const Dictionary& payload, std::string& error) {
  StatedDocument stated;
  if (!checkKeys(payload, {"role", "product", "revision", "expires", "document"}, kOwner, error) ||
      !readFields(payload, stated.statement, error) || !checkFields(stated.statement, error)) {
    return std::nullopt;
  }
  const Value* document = entry(payload, "document", Kind::kDictionary, kOwner, error);
  if (document == nullptr) return std::nullopt;
  stated.document = *document->ifDictionary();
  if (!checkPlain(stated.document, "\"document\" of the statement", error)) return std::nullopt;
  return stated;
}

std::optional<Dictionary> writeStatement(const StatedDocument& stated, std::string& error) {
  const Statement& statement = stated.statement;
  if (!checkFields(statement, error)) return std::nullopt;
  Dictionary payload{
      {"role", wordOf(statement.role)}, {"product", statement.product}, {"revision", Value(statement.revision)}};
  if (statement.expires) payload.set("expires", *statement.expires);
  payload.set("document", stated.document);
  return payload;
}

std::string dateText(Date date) { return dateToIsoText(date).value_or("a date outside the years 1 to 9999"); }

Date systemTime() { return Date::sinceEpoch(static_cast<double>(std::time(nullptr))); }

}  // namespace tavik
